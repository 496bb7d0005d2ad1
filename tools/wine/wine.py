"""Runs a Windows program under Wine, in a Windows user profile that is deleted afterwards.

As a script, it runs one program with its arguments and ends with its status and all its processes.
As a module, it provides the profile for several programs.
"""

import argparse
import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

import hostprograms

# Disabled: Mono and Gecko, which Wine would ask to install, the debugger, in which a program that
# crashed would stay for minutes, and the entries that Wine would make in the user's menus.
OVERRIDES = "mscoree,mshtml,winedbg.exe,winemenubuilder.exe="
# They are not needed, and take half of the time in which a profile starts.
SERVICES_OFF = ("Eventlog", "PlugPlay")


def wine(prefix, *command, **options):
    return subprocess.run(command, env=environment(prefix), check=True, stdin=subprocess.DEVNULL,
                          **options)


def environment(prefix, path=()):
    """This process's environment, extended by the prefix and the folders with DLLs."""
    result = dict(os.environ, WINEPREFIX=str(prefix), WINEDLLOVERRIDES=OVERRIDES,
                  WINEPATH=";".join(windows_path(folder) for folder in path),
                  KVG_THROWAWAY_PROFILE="1")
    result.setdefault("WINEDEBUG", "-all")
    return result


def windows_path(path):
    return "Z:" + str(pathlib.Path(path).absolute()).replace("/", "\\")


def make_template(template):
    """Makes a fresh prefix once, to be copied only: a copy takes far less time."""
    template.parent.mkdir(parents=True, exist_ok=True)
    with open(f"{template}.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        version = subprocess.run(["wine", "--version"], check=True, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        version += pathlib.Path(__file__).read_bytes()
        mark = template / "kvg-version"
        if mark.exists() and mark.read_bytes() == version:
            return
        shutil.rmtree(template, ignore_errors=True)
        quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        wine(template, "wineboot", "-i", **quiet)
        for service in SERVICES_OFF:
            key = rf"HKLM\System\CurrentControlSet\Services\{service}"
            wine(template, "wine", "reg", "add", key, "/f", "/v", "Start", "/t", "REG_DWORD",
                 "/d", "4", **quiet)
        wine(template, "wineserver", "-w", **quiet)
        # The links point into the home folder of the user, where no Windows program may write.
        for user in (template / "drive_c" / "users").iterdir():
            for link in [entry for entry in user.iterdir() if entry.is_symlink()]:
                link.unlink()
                link.mkdir()
        # Debian's Wine does not find its own fonts, such as Tahoma.
        for font in pathlib.Path("/usr/share/wine/fonts").glob("*.ttf"):
            (template / "drive_c" / "windows" / "Fonts" / font.name).symlink_to(font)
        mark.write_bytes(version)


def copy_template(template, prefix):
    """Hard-links all files but the registry, which the server would write in the template too."""
    shutil.copytree(template, prefix, symlinks=True, copy_function=os.link)
    for hive in prefix.glob("*.reg"):
        hive.unlink()
        shutil.copy2(template / hive.name, hive)
    with open(prefix / "user.reg", "a", encoding="ascii") as hive:
        # Without a display, programs can still create windows that they do not show.
        hive.write('\n[Software\\\\Wine\\\\Drivers]\n"Graphics"="x11,null"\n')
        # Not Wine's default version.
        hive.write('\n[Software\\\\Wine]\n"Version"="win10"\n')


@contextlib.contextmanager
def profile(template):
    """The folder of a new prefix; the context ends its processes and deletes it."""
    template = pathlib.Path(template).absolute()
    make_template(template)
    # Beside the template: hard links need the same file system.
    with tempfile.TemporaryDirectory(prefix="profile-", dir=template.parent) as folder:
        prefix = pathlib.Path(folder) / "prefix"
        copy_template(template, prefix)
        try:
            yield prefix
        finally:
            server = {"env": environment(prefix), "check": False, "stderr": subprocess.DEVNULL}
            # Without a number, wineserver checks for the end at longer and longer intervals.
            subprocess.run(["wineserver", f"-k{signal.SIGINT.value}"], **server)
            subprocess.run(["wineserver", "-w"], **server)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--template", required=True, help="prefix that is copied; made if missing")
    parser.add_argument("--path", action="append", default=[], help="folder with DLLs")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _frame: sys.exit(128 + number))
    with profile(options.template) as prefix, hostprograms.offered(prefix) as bridge:
        variables = {**environment(prefix, options.path), **bridge,
                     # Wine passes variables of Qt on under such names only. Without them, messages
                     # go to a debugger, and Qt's offscreen platform finds no fonts.
                     "WINEQT_FORCE_STDERR_LOGGING": "1", "WINEQT_QPA_FONTDIR": r"C:\windows\Fonts"}
        # The kernel kills the program when this process ends.
        command = ["setpriv", "--pdeathsig", "KILL", "wine", *options.command]
        status = subprocess.run(command, check=False, env=variables).returncode
        if status != 0:
            print(f"{options.command[0]} ended with {status}", file=sys.stderr)
        return status


if __name__ == "__main__":
    sys.exit(main())
