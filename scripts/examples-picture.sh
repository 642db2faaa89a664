#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/examples-picture.sh: makes docs/images/examples.png anew, nine of the examples side by side.
# Needs a build and the command ffmpeg (package ffmpeg), which scales the pictures and lays them out.
set -euo pipefail

cd "$(dirname "$(realpath "$0")")/.."
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
number=0

# The example, and the frame and the frames per second at which it looks its best.
add() {
    number=$((number + 1))
    build/release/starloom render "examples/$1.metal" -o "$folder/$number.png" --frames "$2" --fps "$3"
}

add shapes 61 60
add coral 1000 60
add landscape 2 1
add particles 120 60
add orbit 3 1
add bricks 560 60
add anthem 21 1
add demo 6 1
add tunnel 9 1
ffmpeg -v error -y -i "$folder/%d.png" -frames:v 1 \
    -vf "scale=320:180:flags=area,tile=3x3:padding=6:margin=3:color=0x16161c" \
    -pix_fmt rgb24 docs/images/examples.png
