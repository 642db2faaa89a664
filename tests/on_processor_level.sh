#!/bin/sh
# SPDX-License-Identifier: MIT
# on_processor_level.sh LEVEL PROGRAM: runs a program that was compiled for a level of x86-64
# processors. Ends with 77 where the processor is below that level, as the system's loader sees it.
/lib64/ld-linux-x86-64.so.2 --help | grep -q "^  $1 (supported" ||
    { echo "This processor is below $1"; exit 77; }
shift
exec "$@"
