#!/bin/sh
# Takes the icon font and its names from Debian's fonts-material-design-icons-iconfont: the
# font as it is, the names from the package's style sheet as lines "name hex". Run by hand
# when the package changes; the result is part of the sources, so that a build on a system
# without the package draws the same icons.
set -eu
cd -- "$(dirname -- "$0")"
css=/usr/share/fonts-material-design-icons-iconfont/css/material-design-icons.css
font=/usr/share/fonts/truetype/material-design-icons-iconfont/MaterialIcons-Regular.ttf

cp "$font" "src_v70/MaterialIcons-Regular.ttf"
cp /usr/share/common-licenses/Apache-2.0 "src_v70/LICENSE"
# A class name cannot begin with a digit, so the style sheet sets an underscore before it,
# which is not part of the icon's name.
sed -nE '/^ *\.material-icons\.([a-z0-9_]+):before \{$/ {
    s//\1/; s/^_([0-9])/\1/; N
    s/^([a-z0-9_]+)\n *content: "\\([0-9a-f]+)"; \}$/\1 \2/p
}' "$css" | LC_ALL=C sort -u >"src_v70/codepoints"
