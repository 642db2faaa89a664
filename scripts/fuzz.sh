#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/fuzz.sh [MINUTES [TARGET...]]: builds the targets of fuzz/ and runs each (all, unless some
# are named) for so long, 10 minutes unless told, two at a time. What a run learns stays in
# build/fuzz/corpus/TARGET for the next one; an input that breaks something is left in
# build/fuzz/findings. Prints one line per target and ends with 1 if there was a finding.
set -euo pipefail

cd "$(dirname "$(realpath "$0")")/.."
minutes=${1:-10}
shift || true
cmake --preset fuzz >/dev/null
programs=build/fuzz/fuzz
if [ $# -eq 0 ]; then
    for options in "$programs"/*.options; do
        name=$(basename "$options" .options)
        set -- "$@" "${name#fuzz-}"
    done
fi
cmake --build --preset fuzz --target "${@/#/fuzz-}" >&2
mkdir -p build/fuzz/findings build/fuzz/logs

statistic() { # NAME LOG
    sed -n "s/^stat::$1: *//p" "$2"
}

run() { # TARGET
    local program=$programs/fuzz-$1 log=build/fuzz/logs/$1 corpus=build/fuzz/corpus/$1 result=0
    local begin=$SECONDS options
    read -ra options <"$program.options"
    mkdir -p "$corpus"
    "$program" "${options[@]}" -max_total_time=$((minutes * 60)) -print_final_stats=1 \
        "-artifact_prefix=build/fuzz/findings/$1-" "-seed_inputs=@$program.seeds" "$corpus" >"$log" 2>&1 || result=$?
    printf '%s: %d s, %s executions, %s edges, %d inputs kept, %s\n' "$1" $((SECONDS - begin)) \
        "$(statistic number_of_executed_units "$log")" \
        "$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -1)" "$(ls "$corpus" | wc -l)" \
        "$(if [ $result -eq 0 ]; then echo no finding; else echo "FINDING, see $log"; fi)"
    return $result
}

result=0
running=0
for target in "$@"; do
    if [ $running -eq 2 ]; then
        wait -n || result=1
        running=$((running - 1))
    fi
    run "$target" &
    running=$((running + 1))
done
while [ $running -gt 0 ]; do
    wait -n || result=1
    running=$((running - 1))
done
exit $result
