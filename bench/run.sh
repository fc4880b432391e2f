#!/usr/bin/env bash
# Runs every benchmark of the release build, one after the other, and the two that time whole programs.
#   bench/run.sh [GOOGLE-BENCHMARK-OPTION...]
# For figures that mean something: nothing else on the machine, and --benchmark_repetitions=5.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -- --quiet
for program in build/release/bench/bench_*; do
    [ "$(basename "$program")" != bench_fetch ] || continue
    echo "== $(basename "$program")"
    "$program" "$@"
done
echo "== an HTTPS download of 200 MB beside curl"
bench/download.sh
echo "== the headless client beside a shell script"
bench/session.py
