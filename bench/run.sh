#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the release preset and measures everything beside its peer: the table of ratios, then whole runs.
# For figures that mean something, nothing else may run on the machine.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -- --quiet
bench/table.py
echo "== an HTTPS download of 200 MB beside curl"
bench/download.sh
echo "== the headless client beside a shell script"
bench/session.py
echo "== the desktop client beside a bare wxWidgets program"
bench/desktop.py
if [ "$(id -u)" -eq 0 ]; then
    echo "== a tunnel beside openvpn and nmcli"
    bench/tunnel.py
fi
