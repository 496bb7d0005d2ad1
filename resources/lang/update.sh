#!/bin/sh
# Brings the texts of the sources into the translation files. Run after changing a text that
# the user reads, then translate what is "unfinished". Needs Debian's qttools5-dev-tools.
set -eu
cd -- "$(dirname -- "$0")/../.."
# No line numbers in the files: they would change with every edit of the sources.
"$(qtpaths --binaries-dir 2>/dev/null || echo /usr/lib/qt5/bin)/lupdate" \
    app cloud plugins registration runner settings things ui updates \
    -I . -no-obsolete -locations none -source-language en -target-language ru_RU \
    -ts resources/lang/kvg-gate_ru.ts
