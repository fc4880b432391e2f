#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Fuzzes each target for a while, as many at a time as there are processors. Ends with status 1 if one found something;
# what it found lies in build/fuzz/findings/<target>/ and belongs, once understood, into fuzz/seeds/<target>/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=fuzz
. scripts/common.sh

usage() {
    echo "usage: scripts/fuzz.sh [--seconds N] [TARGET...]   (default: every target, 600 seconds each)"
}

seconds=600
targets=()
while [ $# -gt 0 ]; do
    case $1 in
        --seconds) seconds=${2-}; shift ;;
        -h | --help) usage; exit 0 ;;
        -*) echo "fuzz: unknown option $1" >&2; usage >&2; exit 2 ;;
        *) targets+=("$1") ;;
    esac
    [ $# -eq 0 ] || shift
done
case $seconds in
    *[!0-9]* | '') echo "fuzz: --seconds needs a whole number" >&2; exit 2 ;;
esac

need_writable_checkout
scripts/setup.sh --all
logged "the build" build/logs/fuzz-build.log configure_and_build fuzz
if [ ${#targets[@]} -eq 0 ]; then
    mapfile -t targets < <(find build/fuzz/fuzz -maxdepth 1 -name '*_fuzz' -executable -printf '%f\n' | sort)
fi

fuzz_one() {
    local target=$1 seconds=$2 corpus="build/fuzz/corpus/$1" findings="build/fuzz/findings/$1" options=()
    mkdir -p "$corpus" "$findings"
    [ ! -e "fuzz/$target.dict" ] || options+=("-dict=fuzz/$target.dict")
    if "build/fuzz/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$findings/" "${options[@]}" "$corpus" "fuzz/seeds/$target" \
        >"build/fuzz/$target.log" 2>&1; then
        echo "$target: nothing found in $(grep -oP 'number_of_executed_units: \K\d+' "build/fuzz/$target.log") runs"
    else
        echo "$target: FINDING, see build/fuzz/$target.log"
        tail -5 "build/fuzz/$target.log"
        return 1
    fi
}
export -f fuzz_one

echo "fuzzing ${#targets[@]} targets for $seconds s each: ${targets[*]}"
printf '%s\0' "${targets[@]}" | xargs -0 -P "$(nproc)" -I{} bash -c 'fuzz_one "$1" "$2"' _ {} "$seconds"
