#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages named in the given list files that this machine lacks.
# Silent and quick when nothing is missing.
set -euo pipefail

missing=()
while read -r package; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done < <(grep -hEv '^\s*(#|$)' "$@")
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing: ${missing[*]}" >&2
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "These packages are missing and only root can install them: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq >&2
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
