#!/bin/sh
# Brings the texts of the sources into the translation file, or into another one that is named.
# Run after changing a text that the user reads, then translate what is "unfinished". Needs
# Debian's qttools5-dev-tools; LUPDATE may name the program.
set -eu
ts=$(realpath -- "${1:-$(dirname -- "$0")/kvg-gate_ru.ts}")
cd -- "$(dirname -- "$0")/../.."
lupdate=${LUPDATE:-$(qtpaths --binaries-dir 2>/dev/null || echo /usr/lib/qt5/bin)/lupdate}

# Device types describe their settings in data, which lupdate does not read.
descriptions=$(mktemp --suffix=.cpp)
trap 'rm -f -- "$descriptions"' EXIT
sed -n 's/.*"descr": *\("[^"]*"\).*/QT_TRANSLATE_NOOP("Plugins", \1);/p' plugins/*/*.json* \
    >"$descriptions"

# No line numbers in the file: they would change with every edit of the sources.
"$lupdate" app cloud plugins registration runner settings things ui updates "$descriptions" \
    -I . -no-obsolete -locations none -source-language en -target-language ru_RU -ts "$ts"
