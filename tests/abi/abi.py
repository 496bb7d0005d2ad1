"""Compares the binary interface of the kit with the one that was promised.

usage: abi.py LIBRARY DESCRIPTION [--renew]
LIBRARY has full debug information. --renew writes the description instead.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

PROMISED = re.compile(r"QAbstractThing|\w+ThingType")


def describe(library, file):
    """What abidw tells, without the insides of Qt's classes, of which it tells 7000 lines."""
    subprocess.run(["abidw", "--no-comp-dir-path", "--no-show-locs", "--no-corpus-path",
                    "--no-elf-needed", "--no-parameter-names", "--no-write-default-sizes",
                    "--drop-undefined-syms", "--type-id-style", "hash",
                    "--out-file", file, library], check=True)
    tree = xml.parse(file)
    for unit in tree.iter("abi-instr"):
        unit.set("path", pathlib.Path(unit.get("path")).name)
    for kind in tree.iter("class-decl"):
        if not PROMISED.fullmatch(kind.get("name")):
            kind[:] = kind.findall("member-type")
            kind.attrib.pop("size-in-bits", None)
            kind.set("is-declaration-only", "yes")
    # Then what only they referred to, and what contained nothing else.
    while True:
        used = {value for element in tree.iter() for key, value in element.items()
                if key in ("type-id", "naming-typedef-id")} | {None}
        unused = [(parent, child) for parent in tree.iter() for child in parent
                  if (child.get("id") not in used and
                      not PROMISED.fullmatch(child.get("name", "")) and child.find(".//*[@id]") is None) or
                  (child.tag in ("member-type", "namespace-decl") and len(child) == 0)]
        if not unused:
            break
        for parent, child in unused:
            parent.remove(child)
    xml.indent(tree)
    tree.write(file, encoding="unicode")


def main():
    library, promised = sys.argv[1:3]
    if "--renew" in sys.argv:
        describe(library, promised)
        return
    with tempfile.TemporaryDirectory() as folder:
        current = pathlib.Path(folder) / "current.abi"
        describe(library, current)
        # Harmless is to it, among others, a virtual function that took the place of another.
        status = subprocess.run(["abidiff", "--harmless", "--no-corpus-path", promised, current],
                                check=False).returncode
    if status != 0:
        sys.exit(f"abidiff ended with {status}: plugins of before would not work (docs/packaging.md)")


if __name__ == "__main__":
    main()
