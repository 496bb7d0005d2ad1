"""Builds and checks the template with nothing but the installed kit.

usage: kit.py BUILD_FOLDER [OPTIONS OF CMAKE...]
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

SOURCES = pathlib.Path(__file__).resolve().parents[2]


def run(*command):
    result = subprocess.run(command, check=False, encoding="utf-8", stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    print(result.stdout, flush=True)
    if result.returncode != 0:
        sys.exit(f"{command} ended with {result.returncode}")


def main():
    with tempfile.TemporaryDirectory(prefix="kvg-kit-") as folder:
        work = pathlib.Path(folder)
        for component in ("sdk", "thing1"):
            run("cmake", "--install", sys.argv[1], "--component", component,
                "--prefix", work / "prefix")
        for file in (work / "prefix").rglob("*.cmake"):
            if str(SOURCES) in file.read_text(encoding="utf-8"):
                sys.exit(f"{file.name} leads into the source tree")
        shutil.copytree(work / "prefix/share/kvg-gate/template", work / "kettle")
        run("cmake", "-G", "Ninja", "-S", work / "kettle", "-B", work / "build",
            f"-DKVGGate_DIR={work}/prefix/lib/cmake/KVGGate", *sys.argv[2:])
        run("cmake", "--build", work / "build")
        run("ctest", "--test-dir", work / "build", "--verbose", "--no-tests=error")
        if not (work / "build/thing_kettle_ru.qm").exists():
            sys.exit("the translation is missing")


if __name__ == "__main__":
    main()
