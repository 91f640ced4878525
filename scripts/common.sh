# Functions that the scripts share; sourced with the repository root as working directory.

# Prints a heading.
say() {
    printf '\n== %s\n' "$*"
}

# Prints a message and ends the script.
fail() {
    printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Prints a command and runs it. Ends the script if it fails.
run() {
    printf '+ %s\n' "$*"
    "$@" || fail "failed: $*"
}

# need <package>...: installs the Debian packages that are missing. Uses the network only then.
need() {
    missing=
    for package in "$@"; do
        dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^.i' ||
            missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    say "Installing:$missing"
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null 2>&1 ||
            fail "these packages are missing and only root can install them:$missing"
        as_root=sudo
    fi
    run $as_root apt-get update -q
    # Word splitting is intended: one word per package.
    # shellcheck disable=SC2086
    run $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends $missing
}

# A Debian 12 with the essential packages only, and one with the packages that build this project for
# both processors. mmdebstrap makes them.
bare_tar=build/package/bare-root.tar
build_tar=build/package/build-root.tar

# have_debian <archive> <option of mmdebstrap>...: returns true if the archive of a Debian 12 exists.
# Downloads it once; needs mmdebstrap.
have_debian() {
    archive=$1
    shift
    [ ! -f "$archive" ] || return 0
    mkdir -p build/package
    mmdebstrap --format=tar "$@" bookworm "$archive.part" && mv "$archive.part" "$archive"
}

# Returns true if there is a bare Debian 12 to unpack.
have_bare_debian() {
    have_debian "$bare_tar" --variant=minbase
}

# Returns true if there is a Debian 12 to build in.
have_build_debian() {
    have_debian "$build_tar" --variant=minbase --architectures=amd64,arm64 \
        --aptopt='Apt::Install-Recommends "false"' \
        --include=build-essential,crossbuild-essential-arm64,debhelper,cmake,ninja-build,lintian \
        --include=libcli11-dev,libsqlite3-dev,libsqlite3-dev:arm64,libstdc++6:arm64,xz-utils
}

# unpack_debian <archive> <folder>: replaces the folder with the Debian 12 of the archive. Needs root or
# $as_root.
unpack_debian() {
    ${as_root:-} rm -rf --one-file-system "$2"
    mkdir -p "$2"
    run ${as_root:-} tar -x --numeric-owner -f "$1" -C "$2"
}

# unpack_bare_debian <folder>: replaces the folder with a bare Debian 12. Needs mmdebstrap, and
# root or $as_root.
unpack_bare_debian() {
    have_bare_debian || fail "mmdebstrap cannot create a Debian 12 here"
    unpack_debian "$bare_tar" "$1"
}
