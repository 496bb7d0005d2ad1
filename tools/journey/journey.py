"""The gateway beside the sandbox cloud, on a profile of its own under the build folder.

With a display, the window is there to be used, and this ends when the user leaves it. Without one,
a tour on a virtual display does what a new user would do, prints each step, saves a picture of each
and of every page, and stops everything. Exit status: 0 when every step worked, 1 with the reason
when one did not, 128 + signal when it was told to stop.
"""

import argparse
import contextlib
import fcntl
import os
import pathlib
import shlex
import shutil
import signal
import sys
import tempfile

from cloud import Portal, start_sandbox
from display import start_display
from programs import JourneyError, Program, say

SOURCE = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = {"HOME": "home", "XDG_CONFIG_HOME": "config", "XDG_CONFIG_DIRS": "system",
           "XDG_DATA_HOME": "data", "XDG_CACHE_HOME": "cache"}
# What would let the tour reach the desktop that it was started from, or look otherwise there.
FOREIGN = ("DBUS_", "AT_SPI_", "DESKTOP_", "GTK_", "KDE_", "LANG", "LC_", "QT_", "WAYLAND_", "XDG_")


class Stopped(Exception):
    """A signal asked for the end."""


def use_profile(environment, profile, sockets):
    # A second start finds the first by the folder of its socket: not the user's own gateway.
    environment["TMPDIR"] = str(sockets)
    environment.setdefault("XAUTHORITY", os.path.expanduser("~/.Xauthority"))
    for variable, folder in FOLDERS.items():
        (profile / folder).mkdir(parents=True)
        environment[variable] = str(profile / folder)


def write_settings(profile, cloud):
    """Points the gateway at the sandbox, as an administrator would, and lets it speak often."""
    folder = profile / "config" / "Corvalt"
    folder.mkdir()
    (folder / "KVG-Gate.conf").write_text(
        f"[Web]\nRegEndpoint={cloud['register']}\n"
        f"Cloud={cloud['portal'].rsplit('/', 1)[0]}\n\n"
        "[Plugins]\nhost\\interval=1\nlamp\\blink=2\n")


def write_browser(work, environment, command):
    """What opens an address for the gateway: xdg-open in front of the others."""
    folder = work / "bin"
    folder.mkdir()
    (folder / "xdg-open").write_text(f"#!/bin/sh\n{command}\n")
    (folder / "xdg-open").chmod(0o700)
    environment["PATH"] = f"{folder}:{environment['PATH']}"


@contextlib.contextmanager
def own_folder(work):
    """Empties the working folder and holds it against a second journey."""
    mark = work / ".journey"
    if work.exists() and any(work.iterdir()) and not mark.exists():
        raise JourneyError(f"{work} is not empty and not the folder of an earlier journey")
    work.mkdir(parents=True, exist_ok=True)
    with open(mark, "a", encoding="ascii") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise JourneyError(f"another journey is under way in {work}") from None
        for entry in work.iterdir():
            if entry != mark:
                shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
        yield


def hand_over(gateway, portal):
    say("portal", portal)
    say("gateway", "its window is yours; leave it by Exit in the tray")
    status = gateway.wait()
    if status != 0:
        raise JourneyError(f"the gateway ended with {status}\n{gateway.tail()}")


def journey(options, build, work, sockets, programs):
    has_display = os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY")
    cloud = start_sandbox(build, work, programs)
    profile = work / "profile"
    environment = dict(os.environ)

    def start_gateway():
        programs.append(Program("gateway", [build / "bin" / "KVG-Gate"], work / "gateway.log",
                                environment))
        return programs[-1]

    if has_display:
        own = [f"{name}={os.environ[name]}" for name in ("PATH", "TMPDIR", *FOLDERS)
               if name in os.environ]
        unset = [f"-u{name}" for name in ("TMPDIR", *FOLDERS)]
        write_browser(work, environment, f"exec env {shlex.join(unset + own)} xdg-open \"$@\"")
        use_profile(environment, profile, sockets)
        write_settings(profile, cloud)
        hand_over(start_gateway(), cloud["portal"])
        return

    for variable in [name for name in environment if name.startswith(FOREIGN)]:
        del environment[variable]
    environment.update(XDG_RUNTIME_DIR=str(sockets), LC_ALL="C.UTF-8", QT_QPA_PLATFORM="xcb",
                       QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    use_profile(environment, profile, sockets)
    write_settings(profile, cloud)
    opened = work / "opened"
    write_browser(work, environment, f"echo \"$1\" >> {shlex.quote(str(opened))}")
    start_display(work, sockets, environment, programs)
    os.environ.clear()
    os.environ.update(environment)
    pictures = work / "tour"
    pictures.mkdir()
    # Only now: they need the display's addresses, and packages that a display makes needless.
    from screen import Screen  # pylint: disable=import-outside-toplevel
    from tour import Tour  # pylint: disable=import-outside-toplevel
    screen = Screen(pictures)
    say("sandbox", f"portal {cloud['portal']}, broker port {cloud['broker']['port']}")
    try:
        Tour(start_gateway, screen, Portal(cloud["portal"]), profile / "home", opened).play(
            options.watch, SOURCE / "resources" / "lang" / "kvg-gate_ru.ts")
    except Exception:
        with contextlib.suppress(Exception):  # the display may be what failed
            screen.picture("failed")
        raise
    say("pictures", pictures)


def stop_on_signal(number, _frame):
    raise Stopped(number)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--work", type=pathlib.Path,
                        help="folder for profile, logs and pictures: new, or of an earlier journey")
    parser.add_argument("--watch", type=float, default=10,
                        help="seconds for which the tour watches the states")
    options = parser.parse_args()
    build = options.build.resolve()
    work = (options.work or build / "run").resolve()
    signals = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    for number in signals:
        signal.signal(number, stop_on_signal)
    programs = []
    with tempfile.TemporaryDirectory(prefix="kvg-", dir="/tmp") as sockets:
        try:
            with own_folder(work):
                journey(options, build, work, pathlib.Path(sockets), programs)
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


sys.exit(main())
