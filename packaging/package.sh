#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds the programs as a release, packs them into Debian packages in build/packages/, and
# checks each. Asks nothing and ends with the status of the first step that fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=package
. scripts/common.sh

usage() {
    cat <<'TEXT'
usage: packaging/package.sh [--key FILE] [--reproduce] [--rpm]
  --key FILE   the RSA public key (PEM) that components are verified against; without it the development key
  --reproduce  build and pack once more from a copy elsewhere, without a compiler cache, and compare every byte
  --rpm        make RPM packages of the same programs too, in build/packages/rpm/, and compare what they hold
TEXT
}

key=
reproduce=no
rpm=no
while [ $# -gt 0 ]; do
    case $1 in
        --key)
            [ -f "${2-}" ] || { echo "package: --key needs a file, and there is none named \"${2-}\"" >&2; exit 2; }
            key=$(realpath -- "$2")
            shift
            ;;
        --reproduce) reproduce=yes ;;
        --rpm) rpm=yes ;;
        -h | --help) usage; exit 0 ;;
        *) echo "package: unknown option $1" >&2; usage >&2; exit 2 ;;
    esac
    shift
done

build=build/release
packages=build/packages
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
umask 022

# make_packages SOURCE BUILD TARGET: debhelper works in a folder of its own below TARGET, since it writes beside what it
# reads; what it made then lies in TARGET.
make_packages() {
    local source=$1 built=$2 target=$3
    rm -rf "$target"
    mkdir -p "$target/tree"
    cp -a "$source/packaging/debian" "$target/tree/debian"
    (
        cd "$target/tree"
        export NEBRIX_SOURCE=$source NEBRIX_BUILD=$built NEBRIX_COMPONENT_PUBLIC_KEY=$key
        # Whether the packages that it builds with are there, scripts/setup.sh has seen to.
        dpkg-buildpackage --build=binary --no-sign --no-check-builddeps --no-pre-clean
    )
    rm -rf "$target/tree"
}

# Packages whose version is not the programs' own would be a riddle to whoever reads either.
check_version() {
    local packed built
    packed=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
    built=$(sed -n 's/^CMAKE_PROJECT_VERSION:.*=//p' "$build/CMakeCache.txt")
    [ "${packed%-*}" = "$built" ] || { echo "package: debian/changelog says $packed, CMakeLists.txt $built" >&2; return 1; }
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
    # Of nothing that nebrix-proxy-query copies does the compiler know the size.
    if [ "${program##*/}" != nebrix-proxy-query ] && ! grep -qE '__[a-z_]+_chk(@|$)' <<<"$symbols"; then
        echo "package: $program calls no checked function of the C library" >&2
        return 1
    fi
    if LC_ALL=C grep -qF "$PWD" "$program"; then
        echo "package: $program names the folder that it was built in" >&2
        return 1
    fi
}

# A program's own note of CET says nothing as long as the C library's start files lack it: each object file of ours is
# asked. Nothing in an object file tells that the stack grows page by page, but the compiler's record of its options does.
check_objects() {
    local notes producers
    notes=$(find "$build/apps" "$build/libs" "$build/sdk" -name '*.o' -exec readelf --wide --notes {} +)
    producers=$(readelf --debug-dump=info --dwarf-depth=1 "$@" | grep 'DW_AT_producer.*: GNU C')
    [ "$(uname -m)" != x86_64 ] || ! awk '/^File:/ { if (file && !cet) print file; file = $2; cet = 0 }
        /x86 feature: IBT, SHSTK/ { cet = 1 } END { if (!cet) print file }' <<<"$notes" | grep . ||
        { echo "package: these object files lack the note of CET" >&2; return 1; }
    if sed -n 's/^ *"command": //p' "$build/compile_commands.json" | grep -v -e ' -D_FORTIFY_SOURCE=2 .* -O2 '; then
        echo "package: something is compiled without checked functions of the C library" >&2
        return 1
    fi
    if [ -z "$producers" ] || grep -v -e '-fstack-clash-protection' <<<"$producers"; then
        echo "package: something is compiled without -fstack-clash-protection" >&2
        return 1
    fi
}

# check_completion SHARE ASKED EXPECTED: each shell is asked for the ends of the last word.
check_completion() {
    local share=$1 asked=$2 expected=$3
    [[ $(bash -c '. "$1"; COMP_WORDS=($2) COMP_CWORD=2; _nebrix_sign; echo "${COMPREPLY[@]}"' bash \
        "$share/bash-completion/completions/nebrix-sign" "$asked") = "$expected" ]]
    if command -v fish >/dev/null; then
        [[ $(fish --no-config -c "source '$share/fish/vendor_completions.d/nebrix-sign.fish'; complete -C '$asked'" |
            cut -f 1) = "$expected" ]]
    fi
    if command -v zsh >/dev/null; then
        [[ $(zsh -f packaging/complete.zsh "$share/zsh/vendor-completions" "$asked") = *"$expected"* ]]
    fi
}

# Of an option, of a command, and of a command's operand.
check_completions() {
    local share=$1/usr/share file
    check_completion "$share" 'nebrix-sign sign --pass' --password-file
    check_completion "$share" 'nebrix-sign try --debug' --debugger
    check_completion "$share" 'nebrix-sign new host' hostchecker
    for file in "$share"/bash-completion/completions/*; do bash -n "$file"; done
}

check_packages() {
    local contents=$scratch/contents package program programs=()
    for package in "$packages"/*.deb; do
        case $package in
            *-dbgsym_*) ;;
            *) dpkg-deb --extract "$package" "$contents" ;;
        esac
    done
    for program in "$contents"/usr/bin/* "$contents"/usr/libexec/nebrixclient/* "$contents"/usr/libexec/nebrix-demo-gateway/*; do
        check_program "$program"
    done
    for program in "$build"/bin/* "$build"/bin/components/*; do
        [ ! -f "$program" ] || programs+=("$program")
    done
    check_objects "${programs[@]}"
    check_completions "$contents"
    desktop-file-validate "$contents/usr/share/applications/nebrixclient.desktop"
    appstreamcli validate --no-net "$contents"/usr/share/metainfo/*.metainfo.xml
    local allow_root=()
    [ "$(id -u)" -ne 0 ] || allow_root=(--allow-root)
    lintian "${allow_root[@]}" --fail-on error,warning,info --display-info --tag-display-limit 0 "$packages"/*.deb
}

# compare_packages OTHER
compare_packages() {
    local package
    for package in "$packages"/*.deb; do
        cmp "$package" "$1/${package##*/}"
        echo "the same bytes: ${package##*/}"
    done
}

# From the same programs, at another time and in another folder.
pack_again() {
    make_packages "$PWD" "$PWD/$build" "$scratch/again"
    compare_packages "$scratch/again"
}

build_again() {
    local copy=$scratch/a-copy-of-the-checkout
    mkdir "$copy"
    tar --exclude=./build --exclude=./.git -cf - . | tar -xf - -C "$copy"
    CCACHE_DISABLE=1 make_packages "$copy" "$copy/build/release" "$scratch/again"
    compare_packages "$scratch/again"
}

make_rpms() {
    local target=$PWD/$packages/rpm top=$scratch/rpmbuild
    rpmbuild -bb --nodeps --define "_topdir $top" --define "nebrix_build $PWD/$build" "$build/packaging/nebrix.spec"
    rm -rf "$target"
    mkdir -p "$target"
    find "$top/RPMS" -name '*.rpm' -exec mv {} "$target" \;
}

# The files that a package of either kind holds, but for what each kind adds by itself in its own places.
own_files() {
    case $1 in
        *.deb) dpkg-deb --fsys-tarfile "$1" | tar -t | grep -v '/$' ;;
        *) rpm --query --queryformat '[%{FILEMODES:perms} %{FILENAMES}\n]' --package "$1" | sed -n '/^d/!s/^[^ ]* //p' ;;
    esac | sed -E 's|^\.?/||; s|\.gz$||' | grep -vE '^usr/(share/(doc|licenses|lintian)|lib/\.build-id)/' | sort
}

compare_rpms() {
    local package name
    for package in "$packages"/*.deb; do
        name=${package##*/}
        name=${name%%_*}
        case $name in *-dbgsym) continue ;; esac
        diff <(own_files "$package") <(own_files "$(find "$packages/rpm" -name "$name-[0-9]*.rpm")")
        echo "$name: the same $(own_files "$package" | wc -l) files"
    done
}

need_writable_checkout
[ $rpm = no ] || command -v rpmbuild >/dev/null || fail "--rpm needs rpmbuild (Debian package rpm)"
scripts/setup.sh --package
echo "package: building and packing"
logged "building and packing" build/logs/package-build.log make_packages "$PWD" "$PWD/$build" "$PWD/$packages"
logged "the version's check" build/logs/package-version.log check_version
logged "the packages' check" build/logs/package-check.log check_packages
logged "packing once more" build/logs/package-again.log pack_again
if [ $reproduce = yes ]; then
    echo "package: building once more elsewhere"
    logged "building once more" build/logs/package-reproduce.log build_again
fi
if [ $rpm = yes ]; then
    echo "package: making RPM packages"
    logged "making RPM packages" build/logs/package-rpm.log make_rpms
    logged "comparing RPM packages" build/logs/package-rpm-check.log compare_rpms
fi
"$build/bin/nebrixclient-cli" --version
printf 'package: %s\n' "$packages"/*.deb
