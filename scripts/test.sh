#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The project's checks: installs what is missing, checks, builds and tests. Asks nothing and ends at the first step that
# fails, with its status. What a step puts out lies in build/logs/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=test
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: scripts/test.sh [--quick | --all]
  --quick  the gate of a small change: everything but windows, built and tested with g++ alone, and clang-tidy over
           the sources that differ from the branch main
  --all    also clang-tidy over the windows' sources, which takes long because of wxWidgets' headers
TEXT
}

quick=no
tidy_folders='apps/(?!nebrixclient/gui/)|libs/|sdk/'
for argument in "$@"; do
    case $argument in
        --quick) quick=yes ;;
        --all) tidy_folders='apps/|libs/|sdk/' ;;
        -h | --help) usage; exit 0 ;;
        *) echo "test: unknown option $argument" >&2; usage >&2; exit 2 ;;
    esac
done

jobs=$(nproc)
# On a terminal the latest line of another step may stand there.
clear=
if [ -t 1 ] && [ "${TERM:-dumb}" != dumb ]; then
    clear=$'\r\e[K'
fi

# step NAME LOG COMMAND...
step() {
    local name=$1 log=$2 began=$SECONDS
    shift 2
    echo "$clear=== $name (${SECONDS} s since the start)"
    logged "$name" "build/logs/$log.log" "$@"
    # How a test runner counted, for whoever reads no logs.
    grep -E '^[0-9]+% tests passed' "build/logs/$log.log" || true
    echo "$clear--- $name: $((SECONDS - began)) s"
}

check_scripts() {
    local script
    for script in scripts/*.sh packaging/*.sh .ci/run; do
        bash -n "$script"
        [ -x "$script" ] || [ "$(head -c 2 "$script")" != '#!' ] || { echo "$script is not executable"; return 1; }
    done
}

own_sources() {
    find apps docs libs sdk tests bench endurance fuzz -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -not -path 'fuzz/seeds/*' \
        -print0
}

check_format() {
    own_sources | xargs -0 -n 32 -P "$jobs" clang-format-14 --dry-run -Werror
}

build() {
    step "$1: build ($2)" "$1-build" configure_and_build "$1"
}

run_tests() {
    step "$1: tests" "$1-tests" ctest --preset "$1" --no-tests=error -j "$jobs"
}

# What computes without waiting: one build after the other, then what needs them. It runs in the background and takes the
# processor time that tests, which mostly wait, leave to it; no test is kept waiting for it.
background() {
    chrt --idle --pid 0 "$BASHPID" 2>/dev/null || renice -n 19 -p "$BASHPID" >/dev/null || true
    TERM=dumb  # two steps cannot show their latest line in the same place
    build dev "g++"
    touch "$built/dev"
    build asan "clang, address, leak and undefined-behaviour sanitizers"
    touch "$built/asan"
    build tsan "clang, thread sanitizer"
    touch "$built/tsan"
    build release "programs and benchmarks"
    step "package" package packaging/package.sh
    step "clang-tidy" clang-tidy tidy_all
}

start_background() {
    built=$(mktemp -d)
    set -m  # in a process group of its own, so that it ends with this script, whatever it is at
    background &
    set +m
    in_background=$!
    trap 'kill -- "-$in_background" 2>/dev/null || true; rm -rf "$built"' EXIT
}

# await PRESET: until it is built; ends with the background's failure where that comes first.
await() {
    until [ -e "$built/$1" ]; do
        if ! kill -0 "$in_background" 2>/dev/null; then
            await_background
            return
        fi
        sleep 0.2
    done
}

await_background() {
    wait "$in_background" || fail "what ran beside the tests failed, see above" $?
}

# The sanitizer build's compile commands are clang's, which clang-tidy understands without translation.
tidy_all() {
    run-clang-tidy-14 -quiet -j "$jobs" -p build/asan "$PWD/($tidy_folders)"
}

# What differs from the branch main: sources, and for a header the source of its name.
changed_sources() {
    local base stem source
    base=$(git merge-base HEAD origin/main 2>/dev/null || git merge-base HEAD main)
    { git diff --name-only "$base"; git ls-files --others --exclude-standard; } |
        sed -nE '/^(apps|libs|sdk)\//s/\.(h|c|cpp)$//p' | sort -u |
        while read -r stem; do
            for source in "$stem".c "$stem".cpp; do
                if grep -qF "\"$PWD/$source\"" build/quick/compile_commands.json; then
                    echo "$source"
                fi
            done
        done
}

tidy_changed() {
    local sources
    sources=$(changed_sources)
    [ -n "$sources" ] || { echo "no source has changed"; return; }
    xargs -P "$jobs" -n 1 clang-tidy-14 --quiet -p build/quick --extra-arg=-Wno-unknown-warning-option <<<"$sources"
}

# libcrypto is not instrumented, so that only valgrind sees what signature checks make it read.
signatures_under_valgrind() {
    local filter='*Signature*:*SignedDll*:*Rsa*' program home
    home=$(mktemp -d)
    # Spelt out now: the function's variables are gone when the shell that runs it ends.
    trap "rm -rf '$home'" EXIT
    for program in openssl_test core_test; do
        if ! build/dev/tests/$program --gtest_list_tests --gtest_filter="$filter" | grep -q '^  '; then
            echo "$program has no test named $filter"
            return 1
        fi
        HOME=$home valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
            "build/dev/tests/$program" --gtest_brief=1 --gtest_filter="$filter"
    done
}

need_writable_checkout
scripts/setup.sh --all
if [ "$(id -u)" -eq 0 ]; then
    scripts/networkmanager.sh  # others' tunnel tests are skipped
fi
step "scripts" scripts check_scripts
step "format" format check_format
if [ $quick = yes ]; then
    build quick "g++, without windows"
    run_tests quick
    step "clang-tidy over what has changed" clang-tidy tidy_changed
else
    start_background
    await dev
    run_tests dev
    step "valgrind over the signature tests" valgrind signatures_under_valgrind
    await asan
    run_tests asan
    await tsan
    run_tests tsan
    await_background
fi
echo "=== everything passed in ${SECONDS} s"
