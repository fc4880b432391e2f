# SPDX-License-Identifier: Apache-2.0
# What the scripts share. Sourced by a script that stands at the root of the checkout and has its name in `program`.

# What root needs lies there; su(1) leaves it out.
PATH=$PATH:/usr/sbin:/sbin

# Ends the script with one line that says why.
fail() {
    echo "$program: $1" >&2
    exit "${2:-1}"
}

# All that is written into the checkout lies below build/.
need_writable_checkout() {
    if ! mkdir -p build/logs 2>/dev/null || [ ! -w build/logs ]; then
        fail "nothing can be written below $PWD/build; use a copy of the checkout that is yours to write"
    fi
}

# Copies what comes in to the file $1; on a terminal the latest line shows in place.
keep() {
    local line
    if [ ! -t 1 ] || [ "${TERM:-dumb}" = dumb ]; then
        exec cat >"$1"
    fi
    trap '' INT
    while IFS= read -r line || [ -n "$line" ]; do
        printf '%s\n' "$line" >&3
        printf '\r\e[K%.79s' "$line"
    done 3>"$1"
    printf '\r\e[K'
}

# What of a log says why: from the first build command that failed on, tests without those that passed, what a checker
# names, else the end.
show_failure() {
    local named='(warning|error): '
    if grep -q '^FAILED: ' "$1"; then
        sed -n '/^FAILED: /,$p' "$1" | head -n 60
    elif grep -q '^Test project ' "$1"; then
        grep -vE '^ *Start +[0-9]+: | Passed +[0-9.]+ sec$' "$1" | tail -n 200
    elif grep -qE "$named" "$1"; then
        grep -E -A 2 "$named" "$1" | head -n 60
    else
        tail -n 10 "$1"
    fi >&2
}

# logged WHAT LOG COMMAND...: runs the command with its output in the file LOG. If it fails, the script ends with what
# the log says and its status.
logged() {
    local what=$1 log=$2 status
    shift 2
    set +e
    (set -e; "$@") </dev/null 2>&1 | keep "$log"
    status=${PIPESTATUS[0]}
    set -e
    if [ "$status" -ne 0 ]; then
        show_failure "$log"
        fail "$what failed; the whole output is in $log" "$status"
    fi
}

# configure_and_build PRESET [OPTION...]: with these options of the configuration.
configure_and_build() {
    cmake --preset "$@"
    cmake --build --preset "$1"
}

# Whether there is all that builds a tunnel with NetworkManager; else see networkmanager.sh.
networkmanager_is_installed() {
    command -v NetworkManager nmcli dbus-daemon >/dev/null && [ -e /usr/lib/NetworkManager/VPN/nm-openvpn-service.name ]
}
