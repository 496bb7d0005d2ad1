"""Checks every include of the product against cmake/rooms.txt, by which the build links.

usage: check-includes.py SOURCE_DIR ROOM_SOURCES QT_INCLUDE_DIR
ROOM_SOURCES is written by CMake: a line "target file" for each source file.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
# Headers of other libraries, and their targets.
FOREIGN = {
    "qmqtt.h": "qmqtt",
    "httplib.h": "PkgConfig::httplib",
    "mosquitto.h": "PkgConfig::mosquitto",
    "zlib.h": "ZLIB::ZLIB",
}


def qt_module(header, qt_include):
    """The target of the Qt module that has this header; None for other headers."""
    if not header.startswith("Q"):
        return None
    if "/" in header:
        return "Qt5::" + header.split("/")[0][2:]
    for folder in sorted(qt_include.glob("Qt*")):
        if (folder / header).exists():
            return "Qt5::" + folder.name[2:]
    return None


def main():
    root, room_sources, qt_include = map(pathlib.Path, sys.argv[1:4])
    uses = {}
    folders = set()
    for line in (root / "cmake/rooms.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            folder, target, *allowed = line.split()
            uses[target] = set(allowed) | {target, "Qt5::Core"}
            if "Qt5::Widgets" in allowed:
                uses[target].add("Qt5::Gui")  # part of every use of widgets
            folders.add(folder)
    owner = {}
    for line in room_sources.read_text().splitlines():
        target, file = line.split(maxsplit=1)
        owner[file] = target

    faults = [] if (qt_include / "QtCore").exists() else [f"{qt_include} has no headers of Qt"]
    present = {
        str(path.relative_to(root))
        for folder in folders
        for path in (root / folder).rglob("*")
        if path.suffix in (".h", ".cpp")
    }
    # A build leaves out files of other platforms, and may leave out whole folders.
    built = {str(pathlib.PurePosixPath(file).parent) for file in owner}
    for file in sorted(present - set(owner)):
        other_platform = re.search(r"_(windows|linux|unix)\.(cpp|h)$", file)
        if not other_platform and str(pathlib.PurePosixPath(file).parent) in built:
            faults.append(f"{file}: belongs to no target")

    checked = 0
    for file, target in sorted(owner.items()):
        path = root / file
        if not path.exists():
            continue
        for kind, header in INCLUDE.findall(path.read_text()):
            checked += 1
            neighbour = str(pathlib.PurePosixPath(file).parent / header)
            if kind == '"' and header in owner:
                needed = owner[header]
            elif kind == '"' and neighbour in owner:
                needed = owner[neighbour]
            elif kind == '"' and header.split("/")[0] in {f.split("/")[0] for f in folders}:
                if header == "settings/defaults.h":
                    needed = "kvg_settings"  # generated
                elif header.endswith(".moc"):
                    continue
                else:
                    faults.append(f"{file}: no target has {header}")
                    continue
            elif header in FOREIGN:
                needed = FOREIGN[header]
            elif header.startswith("openssl/"):
                needed = "OpenSSL::Crypto"
            elif header.startswith("qwt_"):
                needed = "Qwt::Qwt"
            else:
                needed = qt_module(header, qt_include)
            if needed is not None and needed not in uses[target]:
                faults.append(f"{file}: {target} may not use {needed} ({header})")
    if checked < 100:
        faults.append(f"found only {checked} includes: the check itself is broken")
    print("\n".join(faults) or f"{checked} includes of {len(owner)} files agree with cmake/rooms.txt")
    return 1 if faults else 0


sys.exit(main())
