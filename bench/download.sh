#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Downloads 200 MB over HTTPS from nginx on loopback into a file, by turns with curl and with the client's session, and
# prints the median wall and processor time of each whole process and their ratios.
#   bench/download.sh [BUILD-DIRECTORY] [ROUNDS]
set -euo pipefail

cd "$(dirname "$0")/.."
fetch=${1:-build/release}/bench/bench_fetch
rounds=${2:-11}
for program in "$fetch" nginx curl openssl; do
    command -v "$program" >/dev/null || { echo "download: $program is missing" >&2; exit 2; }
done

work=$(mktemp -d)
nginx_pid=
cleanup() {
    [ -z "$nginx_pid" ] || kill "$nginx_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=localhost \
    -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null
mkdir "$work/files"
head -c 200000000 /dev/urandom >"$work/files/archive"
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
cat >"$work/nginx.conf" <<CONF
daemon off; master_process off; pid $work/nginx.pid; error_log stderr;
events {}
http {
    access_log off;
    client_body_temp_path $work/b; proxy_temp_path $work/p; fastcgi_temp_path $work/f;
    uwsgi_temp_path $work/u; scgi_temp_path $work/s;
    server {
        listen 127.0.0.1:$port ssl http2;
        ssl_certificate $work/cert.pem; ssl_certificate_key $work/key.pem;
        root $work/files;
    }
}
CONF
nginx -p "$work" -c "$work/nginx.conf" -e stderr &
nginx_pid=$!
url=https://127.0.0.1:$port/archive
for _ in $(seq 100); do
    curl -sk -o /dev/null -r 0-0 "$url" && break
    sleep 0.05
done

# Appends "wall processor" in seconds to a file.
measure() {
    local times=$1
    shift
    rm -f "$work/out"
    TIMEFORMAT='%R %U %S'
    { time "$@" >/dev/null; } 2>"$work/time"
    cmp -s "$work/out" "$work/files/archive" || { echo "download: wrong bytes from $1" >&2; exit 1; }
    awk '{ print $1, $2 + $3 }' "$work/time" >>"$times"
}
median() { cut -d' ' -f"$2" "$1" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

for _ in $(seq "$rounds"); do
    measure "$work/curl" curl -sk --http1.1 -o "$work/out" "$url"
    measure "$work/ours" "$fetch" "$url" "$work/out"
done
for column in 1 2; do
    what=$([ $column = 1 ] && echo wall || echo processor)
    theirs=$(median "$work/curl" $column)
    ours=$(median "$work/ours" $column)
    awk -v what="$what" -v ours="$ours" -v theirs="$theirs" \
        'BEGIN { printf "%-10s ours %.3f s, curl -o %.3f s, ratio %.2f\n", what, ours, theirs, ours / theirs }'
done
