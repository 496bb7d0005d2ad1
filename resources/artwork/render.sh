#!/bin/sh
# Renders the pictures of the application and of the desktop from the drawings beside this script.
# Run it when a drawing changes. The pictures are part of the sources, so the build needs neither
# a renderer nor the fonts of the splash screen.
# Needs the Debian packages librsvg2-bin, icoutils and fonts-urw-base35.
set -eu
cd -- "$(dirname -- "$0")"
resources=..
icons=../../packaging/linux/icons
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# render WIDTH HEIGHT DRAWING PICTURE
render() { rsvg-convert -w "$1" -h "$2" "$3" -o "$4"; }

# icon SIZE PICTURE: small icons have their own drawing.
icon() {
    if [ "$1" -lt 32 ]; then
        render "$1" "$1" kvg-gate-small.svg "$2"
    else
        render "$1" "$1" kvg-gate.svg "$2"
    fi
}

for size in 16 20 24 32 40 48 64 128; do
    icon "$size" "$tmp/$size.png"
    set -- "$@" "$tmp/$size.png"
done
icon 256 "$tmp/256.png"
# The largest one as PNG: uncompressed it would need a quarter of a megabyte.
icotool --create --output "$resources/kvg-gate.ico" --raw="$tmp/256.png" "$@"

mkdir -p "$resources/images"
icon 256 "$resources/images/zu-gate.png"
render 480 300 splash.svg "$resources/images/splash.png"
render 960 600 splash.svg "$resources/images/splash@2x.png"

for size in 16 22 24 32 48 64 128 256; do
    mkdir -p "$icons/${size}x$size/apps"
    icon "$size" "$icons/${size}x$size/apps/kvg-gate.png"
done
mkdir -p "$icons/scalable/apps"
cp kvg-gate.svg "$icons/scalable/apps/kvg-gate.svg"
