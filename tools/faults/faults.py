"""Plays faults of the computer to the real gateway, and checks what it says, does and keeps.

Each fault has a gateway, a cloud and a virtual display, in namespaces for mounts and network. Where
the system allows none, the faults that need them are left out.
"""

import argparse
import concurrent.futures
import contextlib
import fcntl
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time

from computer import Computer, Program, wait_for
from programs import say

DAY = 24 * 60 * 60


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


def set_network(is_up):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, 0x8914, struct.pack("16sh14x", b"lo", is_up))  # SIOCSIFFLAGS


@contextlib.contextmanager
def full(folder):
    with contextlib.suppress(OSError), open(folder / "filler", "wb", buffering=0) as file:
        while file.write(bytes(4096)):
            pass
    yield
    (folder / "filler").unlink()


def full_disk(computer):
    copy = shutil.copytree(computer.profile, computer.work / "copy")
    mount("-t", "tmpfs", "-o", "size=2m", "tmpfs", computer.profile)
    shutil.copytree(copy, computer.profile, dirs_exist_ok=True)
    with full(computer.profile):
        computer.start()
        computer.close_box(r"cannot write .*\.db\. Free some space")
        computer.fail_to_save()
        computer.screen.press("Cloud")
        computer.told("Waiting states cannot be written to the disk")
        computer.idle()
    computer.check_saved()
    with full(computer.profile):
        computer.logged(r"Cannot \w+ .*outbox\.db", times=2)
    computer.logged(r"outbox\.db is written again", times=2)
    computer.check_delivered()


def read_only_home(computer):
    mount("--bind", computer.profile, computer.profile)
    mount("-o", "remount,bind,ro", computer.profile)
    computer.start()
    computer.close_box(r"cannot write .*\.db\. .* check who may write")
    computer.fail_to_save()
    computer.screen.press("Cloud")
    computer.idle()
    mount("-o", "remount,bind,rw", computer.profile)
    computer.check_saved()
    computer.check_delivered()


def no_network(computer):
    computer.start("Cloud")
    computer.told("^The cloud cannot be reached. Check the network")
    computer.idle()
    set_network(True)
    computer.start_cloud()
    computer.told("^Connected since", 60)
    set_network(False)
    computer.idle()
    set_network(True)
    computer.portal.wait_for_states(seconds=60)


def no_bus(computer):  # without which no widget can be read
    computer.start_cloud()
    computer.start(DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/session",
                DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent/system")
    wait_for("window", lambda: any(size[0] > 300 for size in computer.screen.windows().values()))
    computer.logged("No sleep notifications")
    computer.logged("Connected to the broker")
    computer.idle()
    computer.screen.key("ctrl+q")
    computer.gateway.wait(15)


def no_tray(computer):
    computer.start_cloud()
    computer.start("Devices")
    computer.screen.key("alt+F4")
    wait_for("empty screen", lambda: not computer.screen.windows())
    computer.check(computer.screen.tops(), "the window is hidden, not minimised")
    computer.idle()
    Program("second", computer.command, computer.work / "second.log").wait(15)
    computer.told("This desktop has no tray")


def jumping_date(computer):
    shift = computer.work / "shift"
    shift.write_bytes(bytes(8))

    def jump(seconds):
        with open(shift, "r+b") as file:  # the gateway has mapped it: it must not become empty
            file.write(struct.pack("q", seconds))
    jump(-20 * 365 * DAY)  # the battery of the clock is empty
    computer.start_cloud()
    computer.start("Cloud", KVG_DATE_SHIFT=str(shift),
                LD_PRELOAD=str(computer.build / "tests" / "house" / "dateshift.so"))
    computer.told("Check the date and the time of this computer")
    jump(0)
    computer.told("^Connected since", 60)
    for seconds in (DAY, -3600):
        jump(seconds)
        computer.portal.wait_for_states()
    if computer.has_namespaces:  # else it would change that of the computer
        mount("--bind", "/usr/share/zoneinfo/Asia/Tokyo", "/etc/localtime")
    computer.portal.wait_for_states()
    computer.idle()
    computer.cloud.stop()
    computer.told("Next attempt in")
    jump(-7200)
    computer.check(int(re.search(r"(\d+) s\.", computer.told("Next attempt in"))[1]) < 60,
                "the date has moved the next attempt")
    jump(30 * DAY)  # older than a state may become
    computer.idle()
    computer.check_delivered()


def register(computer):
    computer.register()  # the profile with which each fault begins


NEED_NAMESPACES = (full_disk, read_only_home, no_network)
FAULTS = (*NEED_NAMESPACES, jumping_date, no_bus, no_tray)


def play(fault, build, work, has_namespaces):
    programs = []
    with tempfile.TemporaryDirectory(prefix="kvg-", dir="/tmp") as sockets:
        try:
            if has_namespaces and fault is not no_network:
                set_network(True)
            computer = Computer(build, work, programs, pathlib.Path(sockets), fault is not no_tray)
            computer.has_namespaces = has_namespaces
            fault(computer)
            computer.stop()
        except Exception as error:  # pylint: disable=broad-except  # all have a reason
            print(f"{error!r}\n" + "\n".join(each.tail(8) for each in programs))
            with contextlib.suppress(Exception):
                computer.screen.picture("failed")
            return 1
        finally:
            for program in reversed(programs):
                program.stop()
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build folder")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="a folder; is emptied")
    parser.add_argument("--only", help="of the script itself")
    parser.add_argument("--namespaces", action="store_true", help="of the script itself")
    options = parser.parse_args()
    work = options.work.resolve()
    if options.only:
        return play(globals()[options.only], options.build.resolve(), work / options.only,
                    options.namespaces)
    spaces = ["unshare", *(["-r"] if os.getuid() else []), "-m", "-n"]
    faults = FAULTS
    if subprocess.run([*spaces, "true"], capture_output=True, check=False).returncode:
        spaces = []
        faults = [fault for fault in FAULTS if fault not in NEED_NAMESPACES]
        say("skipped", ", ".join(fault.__name__ for fault in NEED_NAMESPACES) +
            ": this system lets no namespaces be made")
    shutil.rmtree(work, ignore_errors=True)

    def run(fault):
        folder = work / fault.__name__
        folder.mkdir(parents=True)
        if fault is not register:
            for part in ("profile", "cloud"):
                shutil.copytree(work / "register" / part, folder / part)
        begin = time.monotonic()
        done = subprocess.run([*spaces, sys.executable, *sys.argv, "--only", fault.__name__,
                               *(["--namespaces"] if spaces else [])],
                              stdout=subprocess.PIPE, text=True, check=False)
        say("failed" if done.returncode else "passed",
            f"{fault.__name__}, {time.monotonic() - begin:.0f} s\n{done.stdout}".strip())
        return done.returncode

    # Without namespaces one after the other: all clouds have the same ports.
    with concurrent.futures.ThreadPoolExecutor(3 if spaces else 1) as pool:
        return run(register) or max(pool.map(run, faults))


if __name__ == "__main__":
    sys.exit(main())
