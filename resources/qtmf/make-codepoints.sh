#!/bin/sh
# Copies the icon font from Debian's fonts-material-design-icons-iconfont, and takes the names from
# the package's style sheet as lines "name hex". Run it when the package changes; the result is part
# of the sources, so that a build without the package draws the same icons.
set -eu
cd -- "$(dirname -- "$0")"
css=/usr/share/fonts-material-design-icons-iconfont/css/material-design-icons.css
font=/usr/share/fonts/truetype/material-design-icons-iconfont/MaterialIcons-Regular.ttf

cp "$font" "src_v70/MaterialIcons-Regular.ttf"
cp /usr/share/common-licenses/Apache-2.0 "src_v70/LICENSE"
# A class name cannot begin with a digit: remove the underscore that the style sheet puts before it.
sed -nE '/^ *\.material-icons\.([a-z0-9_]+):before \{$/ {
    s//\1/; s/^_([0-9])/\1/; N
    s/^([a-z0-9_]+)\n *content: "\\([0-9a-f]+)"; \}$/\1 \2/p
}' "$css" | LC_ALL=C sort -u >"src_v70/codepoints"
