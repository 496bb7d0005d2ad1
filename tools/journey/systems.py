"""The gateway on Linux and on Windows: its program, its files, and how its widgets are read."""

import configparser
import pathlib
import shutil
import subprocess
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "wine"))
import wine  # pylint: disable=wrong-import-position

FOLDERS = {"HOME": "home", "XDG_CONFIG_HOME": "config", "XDG_CONFIG_DIRS": "system",
           "XDG_DATA_HOME": "data", "XDG_CACHE_HOME": "cache"}
# The gateway uses the sandbox, and its devices change often. The registry also turns on the smooth
# letters of Windows, and the notice of the first close off: Wine's is invisible and takes all clicks
# on what lies below it.
INI = """[Web]
RegEndpoint={register}
Cloud={base}

[Plugins]
host\\interval=1
lamp\\blink=2
"""
REGISTRY = r"""Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Software\Corvalt\KVG-Gate\Web]
"RegEndpoint"="{register}"
"Cloud"="{base}"

[HKEY_CURRENT_USER\Software\Corvalt\KVG-Gate\Plugins\host]
"interval"=dword:1

[HKEY_CURRENT_USER\Software\Corvalt\KVG-Gate\Plugins\lamp]
"blink"=dword:2

[HKEY_CURRENT_USER\Software\Corvalt\KVG-Gate\UI]
"TrayNoticeShown"="true"

[HKEY_CURRENT_USER\Control Panel\Desktop]
"FontSmoothingGamma"=dword:578
"FontSmoothingType"=dword:2
"""
LOG = pathlib.Path("Corvalt/KVG-Gate/logs/kvg-gate.log")


def plugins(program):
    """The files of the device types beside the program."""
    return sorted(file.name for file in (program / "plugins").glob("thing_*"))


class Linux:
    """The program in that folder; the environment names its profile."""

    slice = 0.01  # seconds; the splash screen is shown for several of these

    def __init__(self, program, profile, board):
        self.command = [program / "KVG-Gate"]
        self.plugins = plugins(program)
        self.autostart_command = f'"{self.command[0]}"'
        self.backup = profile / "home" / "kvg.bak"
        self.backup_name = str(self.backup)
        self.log = profile / "data" / LOG
        self.config = profile / "config"
        self.board_port = str(board)

    def set_up(self, cloud, environment, watched):
        """Call it after the display has started and before the gateway does."""
        (self.config / "Corvalt").mkdir()
        (self.config / "Corvalt" / "KVG-Gate.conf").write_text(INI.format(**cloud))
        if watched:
            environment.update(QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")

    def tree(self):
        # Here, because it needs the display's addresses, and packages that only the tour needs.
        import atspi  # pylint: disable=import-outside-toplevel
        return atspi.Tree()

    def _read(self, file, group, key):
        found = configparser.ConfigParser(interpolation=None, strict=False)
        found.read(self.config / file)
        return found.get(group, key, fallback=None)

    def stored(self, group, key):
        """The stored text of a setting, or None."""
        return self._read("Corvalt/KVG-Gate.conf", group, key)

    def autostart(self):
        """The command of the autostart entry, or None."""
        return self._read("autostart/NimbraCloudGate.desktop", "Desktop Entry", "Exec")


class Installed(Linux):
    """The package that is installed in the root folder `root`, made by ./dev test package."""

    def __init__(self, root, profile, board):
        super().__init__(root / "usr/lib/kvg-gate", profile, board)
        # In the root, the folders for temporary files and the profile are those of this computer.
        mounts = " && ".join(f'mkdir -p "$0{folder}" && mount --rbind "{folder}" "$0{folder}"'
                             for folder in ("/dev", "/proc", "/tmp", profile.parent))
        self.command = ["unshare", "--mount", "sh", "-c",
                        f'{mounts} && exec chroot "$0" kvg-gate "$@"', root]
        self.autostart_command = '"/usr/lib/kvg-gate/KVG-Gate"'


class Windows:
    """The program as installed, under Wine, in a Windows profile of its own."""

    slice = 0.05
    PLACE = pathlib.PureWindowsPath("C:/Program Files/KVG-Gate")
    SETTINGS = r"HKCU\Software\Corvalt\KVG-Gate"
    RUN = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Run"

    board_port = "COM5"

    def __init__(self, build, prefix, board):
        self.build = build
        self.prefix = prefix
        self.command = ["wine", self.PLACE / "KVG-Gate.exe"]
        self.plugins = plugins(build / "bin")
        self.autostart_command = f'"{self.PLACE / "KVG-Gate.exe"}"'
        home = next(home for home in (prefix / "drive_c" / "users").iterdir()
                    if home.name != "Public")
        self.backup = home / "Documents" / "kvg.bak"
        self.backup_name = rf"C:\users\{home.name}\Documents\kvg.bak"
        self.log = home / "AppData" / "Roaming" / LOG
        self.pilots = None
        self.board = board

    def set_up(self, cloud, environment, watched):
        program = self.prefix / "drive_c" / "Program Files" / "KVG-Gate"
        shutil.copytree(self.build / "bin", program, ignore=shutil.ignore_patterns("tests"))
        environment.update((name, value) for name, value in wine.environment(self.prefix).items()
                           if name.startswith("WINE"))
        # Wine passes variables of Qt to programs under such names only.
        environment["WINEQT_FORCE_STDERR_LOGGING"] = "1"
        if watched:
            import pilot  # pylint: disable=import-outside-toplevel
            shutil.copy(self.build / "pilot" / "thing_pilot.dll", program / "plugins")
            self.pilots = pilot.Tree()
            environment["KVG_PILOT_PORT"] = str(self.pilots.port)
        # Wine makes its ports when it starts.
        with open(self.prefix / "system.reg", "a", encoding="ascii") as hive:
            hive.write(f'\n[Software\\\\Wine\\\\Ports]\n"{self.board_port}"="{self.board}"\n')
        settings = self.prefix / "drive_c" / "journey.reg"
        settings.write_text(REGISTRY.format(**cloud), encoding="ascii")
        wine.wine(self.prefix, "wine", "reg", "import", r"C:\journey.reg",
                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def tree(self):
        return self.pilots

    def _query(self, key, name):
        found = subprocess.run(["wine", "reg", "query", key, "/v", name], check=False,
                               env=wine.environment(self.prefix), stdin=subprocess.DEVNULL,
                               capture_output=True, text=True)
        return next((line.split(maxsplit=2)[2] for line in found.stdout.splitlines()
                     if line.split()[:1] == [name]), None)

    def stored(self, group, key):
        return self._query(rf"{self.SETTINGS}\{group}", key)

    def autostart(self):
        return self._query(self.RUN, "NimbraCloudGate")
