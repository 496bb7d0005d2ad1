#!/bin/sh
# run.sh NAME SECONDS|FILE SEED: fuzzes with a target for that time, or gives it one input. The
# seed 0 is a random one. Another repeats the inputs while build/fuzz/corpus is empty; those of
# targets with threads or a clock nearly.
set -eu
name=$1
program=build/fuzz/fuzz/bin/fuzz_$name
TMPDIR=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)" kvg-fuzz.XXXXXX)
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 1' INT TERM
# The sanitizer's defaults for allocations would take most of the time.
ASAN_OPTIONS=quarantine_size_mb=2:thread_local_quarantine_size_kb=128
export ASAN_OPTIONS="$ASAN_OPTIONS:malloc_context_size=8:max_malloc_fill_size=0"
export LSAN_OPTIONS=suppressions=fuzz/leaks.txt:print_suppressions=0
export TMPDIR UBSAN_OPTIONS=print_stacktrace=1
if [ -f "$2" ]; then
    KVG_FUZZ_LOG=1 "$program" "$2"
    exit
fi
corpus=build/fuzz/corpus/$name
log=build/fuzz/$name.log
mkdir -p "$corpus"
if "$program" -seed="$3" -max_total_time="$2" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/$name-" \
    "$corpus" "fuzz/corpus/$name" >"$log" 2>&1; then
    sed -n 's/^stat::number_of_executed_units: *//p' "$log" |
        xargs printf '%-14s %8s inputs\n' "$name"
else
    tail -n 60 "$log"
    input=$(sed -n 's/.*Test unit written to //p' "$log")
    echo "$name failed. To replay: ./dev fuzz $name $input"
    exit 1
fi
