#!/bin/sh
# What Linux desktops and package tools are told about the program: well-formed, and of the
# version that is built. check-desktop.sh FOLDER VERSION
set -eu
cd -- "$1"
desktop-file-validate kvg-gate.desktop
appstreamcli validate --no-net com.corvalt.kvg_gate.metainfo.xml
# names TEXT FILE
names() { grep -qF -- "$1" "$2" || { echo "$2 says nothing of \"$1\""; exit 1; }; }
names "<release version=\"$2\"" com.corvalt.kvg_gate.metainfo.xml
names "\"KVG-Gate $2\"" kvg-gate.1
names "kvg-gate ($2-" changelog
