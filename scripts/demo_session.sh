# SPDX-License-Identifier: Apache-2.0
# The session that demo.sh shows: the gateway, the client, and their end. Sourced by it.

bin=$PWD/build/release/bin
directory=
gateway=
mediation=
client=
helpers= # what else was started: a timer, a look at the tunnel, services
asked=no
broken_off=no
shown=no # what was to be seen through a real tunnel

# In sessions of their own, so that Ctrl-C at the terminal reaches the script alone, which then asks the client once.
# They do not outlive a script that was killed.
apart() {
    exec setpriv --pdeathsig TERM setsid "$@"
}

# The headless client ends by itself at the second signal; the desktop client has bounded its end already.
ask_client() {
    local signal=TERM
    if [ $asked = yes ] && [ $headless = no ]; then
        signal=KILL
    fi
    asked=yes
    if [ -n "$client" ]; then
        kill "-$signal" "$client" 2>/dev/null || true
    fi
}

# Every way out passes here: nothing that this script started stays behind.
clean_up() {
    local status=$? pid
    trap '' INT TERM
    end_namespaces
    for pid in $client $gateway $helpers; do
        kill -TERM "$pid" 2>/dev/null || true
    done
    for pid in $client $gateway; do
        await "$pid" 50 || kill -KILL "$pid" 2>/dev/null || true
    done
    if [ -n "$directory" ] && [ $inside = no ]; then
        rm -rf "$directory"
    fi
    exit "$status"
}

# Waits until the process is gone, at most so many tenths of a second.
await() {
    local tenths=$2
    while kill -0 "$1" 2>/dev/null; do
        [ "$tenths" -gt 0 ] || return 1
        tenths=$((tenths - 1))
        sleep 0.1
    done
}

# wait_for TENTHS PID COMMAND...: repeats the command until it succeeds. False after so many tenths of a second, and as
# soon as the process is gone.
wait_for() {
    local tenths=$1 pid=$2
    shift 2
    until "$@" >/dev/null 2>&1; do
        [ "$tenths" -gt 0 ] && kill -0 "$pid" 2>/dev/null || return 1
        tenths=$((tenths - 1))
        sleep 0.1
    done
}

start_gateway() {
    local options=()
    if [ $tunnel != simulated ]; then
        options=(--tunnel --component "plugindll=$bin/components/libnebrix-tunnel.so")
    fi
    mkdir -p "$directory/gateway"
    : >"$directory/gateway.out"
    TMPDIR=$directory/gateway apart "$bin/nebrix-demo-gateway" "${options[@]}" >"$directory/gateway.out" 2>&1 &
    gateway=$!
    if ! wait_for 150 $gateway grep -q '^listening ' "$directory/gateway.out"; then
        echo "demo: the gateway did not start:" >&2
        cat "$directory/gateway.out" >&2
        return 1
    fi
    cat "$directory/gateway.out"
    mediation=$(awk -v type="$type" '$1 == "mediation" && $2 == type { print $3 }' "$directory/gateway.out")
    if [ -z "$mediation" ]; then
        echo "demo: the gateway serves no component of type $type" >&2
        return 1
    fi
    mediation=${mediation%%\?*}${lang:+?lang=$lang}
}

# The gateway makes its certificate anew at each start, so this home's settings exempt it from certificate checks.
write_settings() {
    local authority=${mediation#*@}
    authority=${authority%%/*}
    mkdir -p "$directory/home/.Nebrix"
    cat >"$directory/home/.Nebrix/nebrixclient.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<nebrixclient>
  <sslcertignoredomains>
    <domains>$authority</domains>
  </sslcertignoredomains>
</nebrixclient>
XML
}

# Everything that the client, its toolkit or a component may write lies in the demo's directory. The display's own key
# stays where it is.
start_client() {
    local display_key=${XAUTHORITY:-$HOME/.Xauthority}
    if [ $headless = yes ]; then
        HOME=$directory/home apart "$bin/nebrixclient-cli" --changes-only - <<<"$mediation" &
    else
        echo "the panel and the tray icon show what happens; quit from the icon's menu or here"
        XAUTHORITY=$display_key HOME=$directory/home \
            XDG_CONFIG_HOME=$directory/home/.config XDG_DATA_HOME=$directory/home/.local/share \
            XDG_STATE_HOME=$directory/home/.local/state XDG_CACHE_HOME=$directory/home/.cache GSETTINGS_BACKEND=memory \
            apart "$bin/nebrixclient" "$mediation" >"$directory/client.out" 2>&1 &
    fi
    client=$!
}

# The client's status is the result. Whatever else ends meanwhile is the timer or the look at the tunnel.
run_client() {
    local status ended timer=none watch=none
    start_client
    trap 'broken_off=yes; ask_client' INT TERM
    if [ "$seconds" -gt 0 ]; then
        sleep "$seconds" &
        timer=$!
        helpers+=" $timer"
    fi
    if [ $tunnel != simulated ]; then
        watch_tunnel &
        watch=$!
        helpers+=" $watch"
    fi
    while kill -0 "$client" 2>/dev/null; do
        status=0 ended=
        wait -n -p ended || status=$?
        case ${ended-} in
            "$client") return $status ;;
            "$timer") ask_client ;;
            "$watch") [ $status -ne 0 ] || shown=yes ;;
        esac
    done
    # It ended while a signal interrupted the wait.
    wait "$client"
}

# Where somebody else has a log in /tmp, the client keeps its own at home.
client_log() {
    local log=$directory/home/.Nebrix/nebrixclient.log
    [ -e "$log" ] || log=/tmp/nebrixclient.log
    echo "$log"
}

run_session() {
    local status=0
    echo "== gateway"
    start_gateway
    write_settings
    if [ $tunnel != simulated ]; then
        prepare_tunnel
    fi
    echo "== client (Ctrl-C to stop)"
    run_client || status=$?
    client=
    # The signal ended it before it could be told: it had not begun.
    [ $status -ne 143 ] || [ $asked = no ] || status=0
    if [ $status -ne 0 ]; then
        if [ -e "$directory/client.out" ]; then
            cat "$directory/client.out" >&2
        fi
        echo "demo: the client ended with status $status; the end of its log:" >&2
        tail -n 10 "$(client_log)" >&2 || true
    elif [ $asked = yes ]; then
        echo "== stopped"
    else
        echo "== the session is over"
    fi
    if [ $tunnel != simulated ] && ! check_tunnel && [ $status -eq 0 ]; then
        status=1
    fi
    return $status
}
