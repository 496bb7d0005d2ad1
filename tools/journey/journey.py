"""Runs the gateway and the sandbox cloud, in a profile of their own under the build folder.

With --windows, the gateway is that of a build for Windows, under Wine; with --package, that of the
Debian package, in a root folder of its own. With a display, the user can
use the window, and this script ends with the gateway. Without one, it plays the tour on a virtual
display: it does what a new user does, prints each step, and saves a picture of each and of every
page. Exit status: 0 when every step worked, 1 with the reason when one failed, 128 + signal when a
signal stopped it.
"""

import argparse
import contextlib
import fcntl
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile

from cloud import Portal, Sandbox
from display import start_display
from programs import JourneyError, Program, say
from screen import Screen
from systems import FOLDERS, Installed, Linux, Windows, wine
from tour import Tour

SOURCE = pathlib.Path(__file__).resolve().parents[2]
# Variables that connect the tour with the user's desktop, or change how the gateway looks.
FOREIGN = ("DBUS_", "AT_SPI_", "DESKTOP_", "GTK_", "KDE_", "LANG", "LC_", "QT_", "WAYLAND_", "XDG_")


class Stopped(Exception):
    """A signal asked this process to end."""


def use_profile(environment, profile, sockets):
    # The guard finds a running instance in this folder: not the user's own gateway.
    environment["TMPDIR"] = str(sockets)
    environment.setdefault("XAUTHORITY", os.path.expanduser("~/.Xauthority"))
    for variable, folder in FOLDERS.items():
        (profile / folder).mkdir(parents=True, exist_ok=True)
        environment[variable] = str(profile / folder)


def write_browser(sockets, environment, command):
    """Makes the xdg-open by which the gateway opens an address; Qt allows no space in its path."""
    folder = sockets / "bin"
    folder.mkdir()
    (folder / "xdg-open").write_text(f"#!/bin/sh\n{command}\n")
    (folder / "xdg-open").chmod(0o700)
    environment["PATH"] = f"{folder}:{environment['PATH']}"


def start_desktop(work, environment, profile, sockets, programs):
    """Starts the virtual display, and makes `environment` that of this process, too.

    Returns the file to which the browser's stand-in writes the addresses that are opened.
    """
    for variable in [name for name in environment if name.startswith(FOREIGN)]:
        del environment[variable]
    environment.update(XDG_RUNTIME_DIR=str(sockets), LC_ALL="C.UTF-8")
    use_profile(environment, profile, sockets)
    opened = work / "opened"
    write_browser(sockets, environment, f"echo \"$1\" >> {shlex.quote(str(opened))}")
    start_display(work, sockets, environment, programs)
    os.environ.clear()
    os.environ.update(environment)
    return opened


@contextlib.contextmanager
def own_folder(work):
    """Empties the working folder and locks it."""
    mark = work / ".journey"
    if work.exists() and any(work.iterdir()) and not mark.exists():
        raise JourneyError(f"{work} is not empty and not the folder of an earlier journey")
    work.mkdir(parents=True, exist_ok=True)
    with open(mark, "a", encoding="ascii") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise JourneyError(f"another journey is running in {work}") from None
        for entry in work.iterdir():
            if entry != mark:
                shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
        yield


def keep_log(log, work):
    """Called before the Windows profile is deleted."""
    if log.exists():
        shutil.copy(log, work)


def hand_over(gateway, portal):
    say("portal", portal)
    say("gateway", "use its window; Exit in the menu of the tray ends it")
    status = gateway.wait()
    if status != 0:
        raise JourneyError(f"the gateway ended with {status}\n{gateway.tail()}")


def journey(options, build, work, sockets, programs, stack):
    has_display = os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY")
    authority = (options.windows or options.package or build).resolve() / "authority"
    sandbox = Sandbox(build, authority, work, programs)
    cloud = sandbox.addresses
    profile = work / "profile"
    environment = dict(os.environ)
    if options.windows:
        windows = options.windows.resolve()
        system = Windows(windows, stack.enter_context(wine.profile(windows / "wine" / "template")),
                         work / "board")
        stack.callback(keep_log, system.log, work)
    elif options.package:
        system = Installed(options.package.resolve() / "root", profile, work / "board")
    else:
        system = Linux(build / "bin", profile, work / "board")

    def start_gateway():
        programs.append(Program("gateway", system.command, work / "gateway.log", environment))
        return programs[-1]

    def start_board():
        script = pathlib.Path(__file__).with_name("board.py")
        programs.append(Program("board", [sys.executable, script, work / "board"],
                                work / "board.log", environment, subprocess.PIPE))
        programs[-1].first_line()
        return programs[-1]

    if has_display:
        own = [f"{name}={os.environ[name]}" for name in ("PATH", "TMPDIR", *FOLDERS)
               if name in os.environ]
        unset = [f"-u{name}" for name in ("TMPDIR", *FOLDERS)]
        write_browser(sockets, environment, f"exec env {shlex.join(unset + own)} xdg-open \"$@\"")
        use_profile(environment, profile, sockets)
        system.set_up(cloud, environment, watched=False)
        hand_over(start_gateway(), cloud["portal"])
        return

    opened = start_desktop(work, environment, profile, sockets, programs)
    system.set_up(cloud, environment, watched=True)
    pictures = work / "tour"
    pictures.mkdir()
    screen = Screen(system.tree(), pictures)
    say("sandbox", f"portal {cloud['portal']}, broker port {cloud['broker']['port']}")
    try:
        Tour(start_gateway, start_board, screen, Portal(cloud["portal"]), system, opened,
             sandbox).play(options.watch, SOURCE / "resources" / "lang" / "kvg-gate_ru.ts")
    except Exception:
        with contextlib.suppress(Exception):  # the display may be what failed
            screen.picture("failed")
        raise
    sandbox.stop()
    say("pictures", pictures)


def stop_on_signal(number, _frame):
    raise Stopped(number)


def run(work, play):
    """Calls play(sockets, programs, stack), ends all `programs`, and returns the exit status."""
    signals = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    for number in signals:
        signal.signal(number, stop_on_signal)
    programs = []
    with contextlib.ExitStack() as stack:
        sockets = stack.enter_context(tempfile.TemporaryDirectory(prefix="kvg-", dir="/tmp"))
        try:
            with own_folder(work):
                play(pathlib.Path(sockets), programs, stack)
            status = 0
        except Stopped as stopped:
            print(f"\nstopped by signal {stopped.args[0]}", file=sys.stderr)
            status = 128 + stopped.args[0]
        except Exception as error:  # pylint: disable=broad-except  # all have a reason
            reason = str(error) if isinstance(error, JourneyError) else repr(error)
            print(f"\nThe journey failed: {reason}", file=sys.stderr)
            for program in programs:
                if program.process.poll():
                    print(f"{program.name} ended with {program.process.returncode}:\n"
                          f"{program.tail()}", file=sys.stderr)
            print(f"Logs and pictures: {work}", file=sys.stderr)
            status = 1
        finally:
            for number in signals:
                signal.signal(number, signal.SIG_IGN)
            for program in reversed(programs):
                program.stop()
    return status


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--windows", type=pathlib.Path,
                        help="build folder for Windows, whose gateway is taken, under Wine")
    parser.add_argument("--package", type=pathlib.Path,
                        help="build folder of the package, whose gateway is taken, from the root "
                        "folder in it")
    parser.add_argument("--work", type=pathlib.Path,
                        help="folder for profile, logs and pictures: new, or of an earlier journey")
    parser.add_argument("--watch", type=float, default=10,
                        help="seconds for which the tour watches the states")
    options = parser.parse_args()
    build = options.build.resolve()
    work = (options.work or (options.windows or options.package or build) / "run").resolve()
    return run(work, lambda *parts: journey(options, build, work, *parts))


if __name__ == "__main__":
    sys.exit(main())
