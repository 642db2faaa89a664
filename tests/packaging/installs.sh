#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# installs.sh BUILD: installs into a folder of its own and asks the desktop's own tools what they make
# of it. Ends with 1 at the first thing that is wrong.
set -euo pipefail

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "$1" >&2; exit 1; }

cmake --install "$1" --prefix "$folder" >"$folder/log" 2>&1 || { cat "$folder/log"; exit 1; }
desktop-file-validate "$folder/share/applications/org.starloom42.desktop"
xmllint --noout "$folder"/share/mime/packages/*.xml "$folder"/share/icons/hicolor/scalable/*/*.svg

# The programs run from there, the compute service included, and a document opens with them.
unset SL42_COMPUTE
echo 'void fx() { cls(1); }' >"$folder/show.metal"
"$folder/bin/starloom" compile "$folder/show.metal" >/dev/null || fail "the console does not run"
"$folder/bin/starloom" pack "$folder/show.metal" -o "$folder/show.sl42"
export PATH="$folder/bin:$PATH" XDG_DATA_DIRS="$folder/share:/usr/share"
export XDG_DATA_HOME="$folder" XDG_CONFIG_HOME="$folder"
typeOf() { gio info -a standard::content-type "$1"; }
[[ $(typeOf "$folder/show.sl42") == *vnd.starloom42.document* ]] ||
    fail "a document is not known by its ending"
[[ $(typeOf "$folder/show.metal") != *starloom* ]] || fail "claims .metal"
[[ $(gio mime application/vnd.starloom42.document) == *org.starloom42.desktop* ]] ||
    fail "nothing opens a document"
