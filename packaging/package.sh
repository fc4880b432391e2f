#!/usr/bin/env bash
# Installs what is missing, builds the programs as a release, packs them into
# build/release/nebrix-client_<version>_<architecture>.deb, and checks the package. Asks nothing and ends with the status
# of the first step that fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=package
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: packaging/package.sh [--key FILE]
  --key FILE   the RSA public key (PEM) that components are verified against; without it the development key
TEXT
}

key=(-U NEBRIX_COMPONENT_PUBLIC_KEY)
while [ $# -gt 0 ]; do
    case $1 in
        --key)
            [ -f "${2-}" ] || { echo "package: --key needs a file, and there is none named \"${2-}\"" >&2; exit 2; }
            key=(-D "NEBRIX_COMPONENT_PUBLIC_KEY=$(realpath -- "$2")")
            shift
            ;;
        -h | --help) usage; exit 0 ;;
        *) echo "package: unknown option $1" >&2; usage >&2; exit 2 ;;
    esac
    shift
done

build=build/release
contents=$(mktemp -d)
trap 'rm -rf "$contents"' EXIT
umask 022

build_programs() {
    cmake --preset release -D NEBRIX_BUILD_GUI=ON -D NEBRIX_BUILD_BENCH=OFF "${key[@]}"
    cmake --build --preset release --target nebrix_installed
}

make_package() {
    # The same sources make the same package.
    SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l "$build/packaging/changelog" -S Timestamp)
    export SOURCE_DATE_EPOCH
    rm -f "$build"/nebrix-client_*.deb
    (cd "$build" && cpack -G DEB)
    rm -rf "$build/_CPack_Packages"
}

# What lintian only mentions, if at all: the hardening of each program, and that it takes its libraries from the system.
check_program() {
    local program=$1 headers symbols
    headers=$(readelf --wide --file-header --program-headers --dynamic "$program")
    symbols=$(readelf --wide --dyn-syms "$program")
    local trait
    for trait in 'Type: *DYN' 'GNU_RELRO' 'BIND_NOW'; do
        grep -q "$trait" <<<"$headers" || { echo "package: $program lacks $trait" >&2; return 1; }
    done
    if grep -qE 'R(UN)?PATH' <<<"$headers"; then
        echo "package: $program has a library search path of its own" >&2
        return 1
    fi
    if ! grep -qE '__[a-z_]+_chk(@|$)' <<<"$symbols"; then
        echo "package: $program calls no checked function of the C library" >&2
        return 1
    fi
}

check_package() {
    local share=$contents/usr/share program
    dpkg-deb --extract "$package" "$contents"
    for program in bin/nebrixclient bin/nebrixclient-cli bin/nebrix-sign \
        libexec/nebrixclient/nebrix-{component-host,component-probe,proxy-query}; do
        check_program "$contents/usr/$program"
    done
    desktop-file-validate "$share/applications/nebrixclient.desktop"
    appstreamcli validate --no-net "$share"/metainfo/*.metainfo.xml
    local allow_root=()
    [ "$(id -u)" -ne 0 ] || allow_root=(--allow-root)
    lintian "${allow_root[@]}" --fail-on error --tag-display-limit 0 "$package"
}

need_writable_checkout
scripts/setup.sh --package
echo "package: building"
logged "the build" build/logs/package-build.log build_programs
logged "packing" build/logs/package.log make_package
package=$(find "$build" -maxdepth 1 -name 'nebrix-client_*.deb')
[ -n "$package" ] || fail "no package was made"
logged "the package's check" build/logs/package-check.log check_package
"$build/bin/nebrixclient-cli" --version
echo "package: $package"
