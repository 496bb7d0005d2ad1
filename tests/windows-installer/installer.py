"""Installs, upgrades and removes the program under Wine, and starts it from the zip."""

import contextlib
import pathlib
import re
import subprocess
import sys
import time
import zipfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools" / "wine"))
import wine  # noqa: E402  pylint: disable=wrong-import-position

CURRENT = r"HKCU\Software\Microsoft\Windows\CurrentVersion"
ENTRY = CURRENT + r"\Uninstall\KVG-Gate"
AUTOSTART = CURRENT + r"\Run"
SETTINGS = r"HKCU\Software\Corvalt\KVG-Gate"
PROGRAM = "KVG-Gate.exe"
FAILED, IN_USE = 2, 3


def expect(condition, what):
    if not condition:
        sys.exit(f"installer: {what}")


def wait_for(condition, what, seconds=30):
    end = time.monotonic() + seconds
    while not condition():
        expect(time.monotonic() < end, f"waited in vain: {what}")
        time.sleep(0.1)


@contextlib.contextmanager
def display():
    with subprocess.Popen(["Xvfb", "-displayfd", "1", "-nolisten", "tcp"], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as server:
        try:
            yield f":{server.stdout.readline().strip()}"
        finally:
            server.terminate()


def contents(folder):
    return {str(file.relative_to(folder)): file.read_bytes()
            for file in folder.rglob("*") if file.is_file()}


class Computer:
    def __init__(self, prefix, screen):
        self.environment = dict(wine.environment(prefix), DISPLAY=screen, LC_ALL="C.UTF-8")
        self.drive = prefix / "drive_c"
        self.home = next(folder for folder in (self.drive / "users").iterdir()
                         if folder.name != "Public")
        self.place = self.home / "AppData/Local/Programs/KVG-Gate"
        self.menu = self.home / "AppData/Roaming/Microsoft/Windows/Start Menu/Programs/KVG-Gate.lnk"

    @contextlib.contextmanager
    def started(self, *command):
        with subprocess.Popen(["wine", *command], env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            try:
                yield process
            finally:
                process.kill()

    def run(self, *command):
        return subprocess.run(["wine", *command], env=self.environment, check=False, timeout=60,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode

    def install(self, setup, folder):
        """Splits the folder at its spaces: Wine would quote it, and NSIS does not accept /D=
        in quotes."""
        return self.run(setup, "/S", *f"/D={self.windows(folder)}".split(" "))

    def windows(self, path):
        return "C:\\" + str(path.relative_to(self.drive)).replace("/", "\\")

    def registry(self, key):
        """The string values, by an export: the output of "reg query" has no Cyrillic letters."""
        file = self.drive / "key.reg"
        file.unlink(missing_ok=True)
        self.run("reg", "export", key, "C:\\key.reg", "/y")
        if not file.exists():
            return {}
        pairs = re.findall(r'^"(.*)"="(.*)"\r?$', file.read_text("utf-16"), re.MULTILINE)
        return {name: re.sub(r"\\(.)", r"\1", value) for name, value in pairs}

    def store(self, key, name, value):
        expect(self.run("reg", "add", key, "/v", name, "/d", value, "/f") == 0, f"reg add {name}")

    def starts(self):
        """How often the program has started so far."""
        file = self.home / "AppData/Roaming/Corvalt/KVG-Gate/logs/kvg-gate.log"
        return file.read_text("utf-8").count("kvg.ui Ready") if file.exists() else 0

    def uninstall(self, folder):
        """Waits for the result: the uninstaller continues in a copy of itself."""
        self.run(str(folder / "Uninstall.exe"), "/S")
        wait_for(lambda: not (folder / "Uninstall.exe").exists(), "the uninstaller")
        wait_for(lambda: not self.registry(ENTRY), "the entry to be removed")


def check_new(computer, setup, shipped):
    expect(computer.run(setup, "/S", "/START") == 0, "a first installation")
    expect(contents(computer.place).keys() == shipped.keys() | {"Uninstall.exe"},
           "what is installed is not what the zip holds")
    expect(computer.menu.exists(), "no entry in the start menu")
    entry = computer.registry(ENTRY)
    program = computer.windows(computer.place / PROGRAM)
    remover = computer.windows(computer.place / "Uninstall.exe")
    expect(entry["DisplayIcon"] == program and entry["UninstallString"] == f'"{remover}"' and
           entry["QuietUninstallString"] == f'"{remover}" /S', f"wrong entry: {entry}")
    wait_for(lambda: computer.starts() == 1, "the program that /START asks for")


def check_upgrade(computer, setup, shipped):
    computer.store(SETTINGS, "Probe", "kept")
    own = computer.place / "plugins/thing_own.txt"
    own.write_text("the user's")
    stale = computer.place / "old/older/stale.txt"
    stale.parent.mkdir(parents=True)
    stale.write_text("of a former version")
    (computer.place / "README.txt").write_text("of a former version")
    with open(computer.place / "KVG-Gate.files", "a", newline="", encoding="ascii") as manifest:
        manifest.write("old\\older\\stale.txt\r\n")

    expect(computer.run(setup, "/S") == 0, "an upgrade")
    wait_for(lambda: computer.starts() == 2, "the program to run again")
    now = contents(computer.place)
    expect(now.keys() == shipped.keys() | {"Uninstall.exe", "plugins/thing_own.txt"},
           "an upgrade removes what is stale and leaves what is the user's")
    expect(all(now[name] == data for name, data in shipped.items()), "files were not replaced")
    expect(not (computer.place / "old").exists(), "a stale folder stays")


def check_removal(computer):
    other = '"C:\\elsewhere\\KVG-Gate.exe"'
    computer.store(AUTOSTART, "NimbraCloudGate", other)
    computer.uninstall(computer.place)
    expect(contents(computer.place).keys() == {"plugins/thing_own.txt"},
           "removal leaves the user's files and nothing else")
    expect(not computer.menu.exists(), "the start menu keeps its entry")
    expect(computer.registry(AUTOSTART).get("NimbraCloudGate") == other,
           "removal takes the autostart of another installation")
    expect(computer.registry(SETTINGS).get("Probe") == "kept", "removal takes the settings")


def check_portable(computer, setup, archive):
    """Starts the program from the zip and installs over it, in a folder with Cyrillic letters."""
    archive.extractall(computer.drive / "Мои программы")
    folder, = (computer.drive / "Мои программы").iterdir()
    with computer.started(str(folder / PROGRAM)) as program:
        wait_for(lambda: computer.starts() == 3, "the program of the zip")
        expect(computer.install(setup, folder) == 0, "an installation over a portable copy")
        expect(program.wait(5) == 0, "the program did not end in order")
    wait_for(lambda: computer.starts() == 4, "the program to run again")
    expect(computer.registry(ENTRY)["InstallLocation"] == computer.windows(folder), "wrong place")
    return folder


def check_refusals(computer, setup, shipped, standin):
    """Installations that fail change nothing, here or in the other installation."""
    plugin = next(name for name in shipped if name.startswith("plugins/"))
    folder = computer.drive / "held"
    (folder / "plugins").mkdir(parents=True)
    (folder / "KVG-Gate.files").write_bytes(b"KVG-Gate.exe\r\nold.dll\r\nREADME.txt\r\n")
    for name in ("old.dll", "README.txt", plugin):
        (folder / name).write_text("old")
    (folder / PROGRAM).write_bytes(standin.read_bytes())
    before = contents(folder), computer.registry(ENTRY)
    held = str(folder / PROGRAM), [], IN_USE
    read = str(standin), [computer.windows(folder / "README.txt")], FAILED
    for program, arguments, status in (held, read):
        with computer.started(program, *arguments) as process:
            expect(process.stdout.readline().strip() == b"ready", "the stand-in does not start")
            code = computer.install(setup, folder)
            expect(code == status, f"setup ends with {code} where it should with {status}")
            expect(process.poll() is None, "the stand-in was killed")
        expect((contents(folder), computer.registry(ENTRY)) == before,
               f"an installation that ended with {code} changed something")
    # Not even root can write there.
    expect(computer.run(setup, "/S", r"/D=Z:\proc\kvg") == FAILED, "setup fails, yet ends well")
    expect(computer.registry(ENTRY) == before[1], "a failed installation is registered")


def main():
    package, standin, template = map(pathlib.Path, sys.argv[1:])
    setup, = package.glob("kvg-gate-*-windows-x64-setup.exe")
    zipped, = package.glob("kvg-gate-[0-9]*-windows-x64.zip")
    with zipfile.ZipFile(zipped) as archive, display() as screen, \
            wine.profile(template) as prefix:
        shipped = {name.partition("/")[2]: archive.read(name) for name in archive.namelist()}
        computer = Computer(prefix, screen)
        # Otherwise each window that closes waits seconds for a window manager.
        computer.store(r"HKCU\Software\Wine\X11 Driver", "Managed", "N")
        check_new(computer, str(setup), shipped)
        check_upgrade(computer, str(setup), shipped)
        check_removal(computer)
        folder = check_portable(computer, str(setup), archive)
        check_refusals(computer, str(setup), shipped, standin)
        computer.store(AUTOSTART, "NimbraCloudGate", f'"{computer.windows(folder / PROGRAM)}"')
        computer.uninstall(folder)
        expect(not folder.exists(), "the folder stays")
        expect(not computer.registry(AUTOSTART), "the autostart of a removed program stays")


if __name__ == "__main__":
    main()
