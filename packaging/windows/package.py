#!/usr/bin/env python3
"""Makes the installer and the zip for Windows, and the zip of the kit, from a build folder.

The first two hold the same files: those that "cmake --install" installs, stripped. Fails when a DLL
is missing that a program needs, or when nothing uses a DLL that is shipped.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import zipfile

HERE = pathlib.Path(__file__).resolve().parent

# DLLs of Windows 7 and later.
WINDOWS = frozenset(f"{name}.dll" for name in """
    advapi32 bcrypt comctl32 comdlg32 crypt32 d3d11 dnsapi dwmapi dxgi gdi32 imm32 iphlpapi kernel32
    mpr msimg32 msvcrt netapi32 ole32 oleaut32 powrprof psapi rpcrt4 secur32 setupapi shell32
    shlwapi urlmon user32 userenv uxtheme version wininet winhttp winmm wintrust ws2_32 wtsapi32
    """.split())

# Loaded by name at run time: OpenSSL by Qt Network, the plots by the window, and WinSparkle by the
# updater.
LOADED = frozenset(["kvg_plot.dll", "libssl-3-x64.dll", "winsparkle.dll"])


def imports(objdump, file):
    text = subprocess.run([objdump, "-p", file], check=True, stdout=subprocess.PIPE,
                          encoding="ascii", errors="replace").stdout
    return {name.lower() for name in re.findall(r"^\s*DLL Name: (\S+)", text, re.MULTILINE)}


def check_libraries(objdump, folder, programs):
    """A DLL in a subfolder is a plugin: it is loaded by its path, and uses the DLLs beside the
    program."""
    beside = {file.name.lower() for file in programs if file.parent == folder}
    needed = {name for name in LOADED if name in beside}
    problems = []
    for file in programs:
        for name in sorted(imports(objdump, file)):
            needed.add(name)
            if name not in beside and name not in WINDOWS:
                problems.append(f"{file.relative_to(folder)} needs {name}, which is not shipped")
    problems += [f"nothing needs {name}" for name in sorted(beside - needed)
                 if name.endswith(".dll")]
    if problems:
        sys.exit("\n".join(f"package: {problem}" for problem in problems))


def commit_time():
    if "SOURCE_DATE_EPOCH" in os.environ:
        return int(os.environ["SOURCE_DATE_EPOCH"])
    git = subprocess.run(["git", "-C", HERE, "log", "-1", "--format=%ct"], check=False,
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return int(git.stdout) if git.returncode == 0 and git.stdout else int(time.time())


def make_zip(file, folder, files, moment):
    with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in files:
            entry = zipfile.ZipInfo(f"{folder.name}/{path.relative_to(folder).as_posix()}",
                                    time.gmtime(moment)[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o100644 << 16
            archive.writestr(entry, path.read_bytes())


def installed(options, component, name, beside, environment):
    """The new folder with the component's files, stripped. The program is in the subfolder."""
    folder = options.build / "stage" / name
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run([options.cmake, "--install", options.build, "--component", component,
                    "--prefix", folder], check=True, stdout=subprocess.DEVNULL)
    programs = sorted(file for file in folder.rglob("*") if file.suffix in (".exe", ".dll"))
    for file in programs:
        if file.name == "WinSparkle.dll":
            continue  # stripping would invalidate its signature
        subprocess.run([options.strip, "--strip-all", file], check=True, env=environment)
    check_libraries(options.objdump, folder / beside, programs)
    return folder


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True)
    for name in ("version", "cmake", "strip", "objdump", "makensis"):
        parser.add_argument(f"--{name}", required=True)
    options = parser.parse_args()
    moment = commit_time()
    # strip and makensis write this time instead of the current one.
    environment = dict(os.environ, SOURCE_DATE_EPOCH=str(moment))

    name = f"kvg-gate-{options.version}-windows-x64"
    kit = installed(options, "sdk", f"kvg-gate-sdk-{options.version}", "bin", environment)
    make_zip(options.build / f"kvg-gate-sdk-{options.version}-windows-x64.zip", kit,
             sorted(file for file in kit.rglob("*") if file.is_file()), moment)
    folder = installed(options, "program", f"kvg-gate-{options.version}", ".", environment)

    files = sorted(file for file in folder.rglob("*") if file.is_file())
    # The next version's setup removes these files; the list omits itself and the uninstaller. In
    # ASCII, because setup reads it in the code page of the user's Windows.
    manifest = folder / "KVG-Gate.files"
    manifest.write_bytes("".join(str(pathlib.PureWindowsPath(file.relative_to(folder))) + "\r\n"
                                 for file in files).encode("ascii"))
    files = sorted([*files, manifest])
    for file in files:
        file.chmod(0o644)
        os.utime(file, (moment, moment))

    make_zip(options.build / f"{name}.zip", folder, files, moment)
    size = sum(file.stat().st_size for file in files)
    subprocess.run(
        [options.makensis, "-V2", "-WX", "-INPUTCHARSET", "UTF8",
         f"-DVERSION={options.version}", f"-DFOLDER={folder.resolve()}",
         f"-DKIBIBYTES={size // 1024}", f"-DICON={HERE.parents[1] / 'resources/kvg-gate.ico'}",
         f"-DOUTPUT={(options.build / name).resolve()}-setup.exe", HERE / "setup.nsi"],
        check=True, env=environment)


if __name__ == "__main__":
    main()
