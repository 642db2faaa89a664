#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/soak.sh [MINUTES [SECONDS]]: builds the console and puts it through an evening of wrong
# programs, one every so many seconds, on an X server of its own. Prints what went missing for how
# long: picture, sound, answers of the event loop. Not one of the tests; it takes as long as it says.
set -euo pipefail

cd "$(dirname "$(realpath "$0")")/.."
cmake --build --preset release --target starloom-soak starloom-compute >&2
export SL42_SOURCE_DIR=$PWD SL42_BUILD_DIR=$PWD/build/release
exec build/release/starloom-soak "$@"
