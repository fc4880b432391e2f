#!/usr/bin/env bash
# Everything that the continuous integration runs: installs what is missing, checks, builds and tests. Asks nothing and
# ends at the first step that fails, with its status.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    cat <<'TEXT'
usage: scripts/test.sh [--quick | --all]
  --quick  only the script and format checks and the tests of preset dev
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
current="start"
trap 'status=$?; if [ $status -ne 0 ]; then echo "=== FAILED: $current (status $status, ${SECONDS} s since the start)"; fi' EXIT

step() {
    current=$1
    shift
    echo "=== $current (${SECONDS} s since the start)"
    local began=$SECONDS
    "$@"
    echo "--- $current: $((SECONDS - began)) s"
}

check_scripts() {
    local script
    for script in scripts/*.sh packaging/*.sh .ci/run; do
        bash -n "$script"
        [ -x "$script" ] || { echo "$script is not executable"; return 1; }
    done
}

own_sources() {
    find apps libs sdk tests bench fuzz -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -not -path 'fuzz/seeds/*' \
        -print0
}

check_format() {
    own_sources | xargs -0 clang-format-14 --dry-run -Werror
}

build() {
    local preset=$1
    shift
    cmake --preset "$preset" >"build/configure-$preset.log" 2>&1 || { cat "build/configure-$preset.log"; return 1; }
    cmake --build --preset "$preset" "$@" -- --quiet
}

build_and_test() {
    build "$1"
    ctest --preset "$1" --no-tests=error
}

# The sanitizer build's compile commands are clang's, which clang-tidy understands without translation.
check_tidy() {
    local log=build/clang-tidy.log
    if ! run-clang-tidy-14 -quiet -j "$jobs" -p build/asan "$PWD/($tidy_folders)" >"$log" 2>&1; then
        grep -E '(warning|error):' "$log" | sort -u
        return 1
    fi
}

# libcrypto is not instrumented, so that only valgrind sees what signature checks make it read. Tests that make keys stay
# out: one key takes up to a minute there, as chance wants it.
check_signatures_under_valgrind() {
    local filter='*Signature*:*SignedDll*:*Rsa*-*Generates*' program home
    for program in openssl_test core_test; do
        if ! build/dev/tests/$program --gtest_list_tests --gtest_filter="$filter" | grep -q '^  '; then
            echo "$program has no test named $filter"
            return 1
        fi
        home=$(mktemp -d)
        HOME=$home valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
            "build/dev/tests/$program" --gtest_brief=1 --gtest_filter="$filter" || { rm -rf "$home"; return 1; }
        rm -rf "$home"
    done
}

mkdir -p build
step "packages" scripts/setup.sh --all
step "scripts" check_scripts
step "format" check_format
step "dev: g++, build and tests" build_and_test dev
if [ $quick = no ]; then
    step "asan: clang, address, leak and undefined-behaviour sanitizers" build_and_test asan
    step "tsan: clang, thread sanitizer" build_and_test tsan
    step "valgrind over the signature tests" check_signatures_under_valgrind
    step "clang-tidy" check_tidy
    step "release: programs and benchmarks" build release
    step "package" packaging/package.sh
fi
echo "=== everything passed in ${SECONDS} s"
