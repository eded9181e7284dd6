#!/bin/sh
# Runs every benchmark binary of the bench build pinned to one core, with
# repetitions, and writes the medians and the ratio of each pair listed in
# bench/pairs.tsv: OUT/<binary>.json (Google Benchmark's JSON) and
# OUT/summary.md. With -u the generated section of bench/RESULTS.md is
# replaced by the new summary.
#
#   bench/run.sh [-u] [BUILD_DIR [OUT_DIR]]
#
# BUILD_DIR defaults to build-bench (configured and built when missing),
# OUT_DIR to BUILD_DIR/bench-results. Environment: ANVIL_BENCH_CPU (core to
# pin to, default the last one), ANVIL_BENCH_REPS (default 5),
# ANVIL_BENCH_MIN_TIME (seconds per repetition, default 0.2),
# ANVIL_BENCH_FILTER (a --benchmark_filter regex, default all). Every
# benchmark runs 50 ms before it is measured, so that the first of a binary
# is not timed while the core and its caches warm up.
set -eu

update=0
if [ "${1:-}" = "-u" ]; then
    update=1
    shift
fi
src=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$src/build-bench}
out=${2:-$build/bench-results}
cpu=${ANVIL_BENCH_CPU:-$(($(nproc) - 1))}
reps=${ANVIL_BENCH_REPS:-5}
min_time=${ANVIL_BENCH_MIN_TIME:-0.2}
filter=${ANVIL_BENCH_FILTER:-.}

if [ ! -f "$build/build.ninja" ] && [ ! -f "$build/Makefile" ]; then
    cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DANVIL_TESTS=OFF -DANVIL_EXAMPLES=OFF
fi
cmake --build "$build" -j2

mkdir -p "$out"
rm -f "$out"/*.json
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
failed=""
for bin in "$build"/bench/bench_*; do
    [ -f "$bin" ] && [ -x "$bin" ] || continue
    name=$(basename "$bin")
    echo "== $name" >&2
    # One failing binary (say, no right to make a namespace) does not stop
    # the others; it is named in the summary.
    if ! taskset -c "$cpu" "$bin" --benchmark_filter="$filter" \
        --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true \
        --benchmark_min_time="$min_time" --benchmark_min_warmup_time=0.05 \
        --benchmark_out="$out/$name.json" --benchmark_out_format=json >&2; then
        failed="$failed $name"
    fi
done
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

python3 "$src/bench/report.py" --pairs "$src/bench/pairs.tsv" --build "$build" --cpu "$cpu" \
    --reps "$reps" --load "$load_before / $load_after" --failed "$failed" \
    "$out"/*.json > "$out/summary.md"
echo "wrote $out/summary.md" >&2
if [ "$update" = 1 ]; then
    python3 "$src/bench/report.py" --splice "$src/bench/RESULTS.md" "$out/summary.md"
    echo "updated $src/bench/RESULTS.md" >&2
fi
