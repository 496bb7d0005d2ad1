#!/bin/sh
# update.sh [FILE]: updates the translation file with the texts of the sources. Run it after a
# change of a text of the user interface, then translate the "unfinished" ones. Needs Debian's
# qttools5-dev-tools; LUPDATE may name the program.
set -eu
ts=$(realpath -- "${1:-$(dirname -- "$0")/kvg-gate_ru.ts}")
cd -- "$(dirname -- "$0")/../.."
lupdate=${LUPDATE:-$(qtpaths --binaries-dir 2>/dev/null || echo /usr/lib/qt5/bin)/lupdate}

# lupdate does not read the JSON files in which device types describe their settings. The template
# does not ship.
descriptions=$(mktemp --suffix=.cpp)
trap 'rm -f -- "$descriptions"' EXIT
grep -Eoh '"(descr|title|unit)": *"[^"]*"' $(ls plugins/*/*.json* | grep -v template) |
    sed 's/^[^:]*: *\(.*\)/QT_TRANSLATE_NOOP("Plugins", \1);/' >"$descriptions"

# Without line numbers, which would change with every edit of the sources.
"$lupdate" app check cloud history loader outbox plot plugins registration runner settings things ui \
    updates "$descriptions" \
    -I . -no-obsolete -locations none -source-language en -target-language ru_RU -ts "$ts"
