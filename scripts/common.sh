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

# A Debian 12 with the essential packages only, made by mmdebstrap.
bare_tar=build/package/bare-root.tar

# Returns true if there is a bare Debian 12 to unpack. Downloads it once; needs mmdebstrap.
have_bare_debian() {
    [ ! -f "$bare_tar" ] || return 0
    mkdir -p build/package
    mmdebstrap --variant=minbase --format=tar bookworm "$bare_tar.part" && mv "$bare_tar.part" "$bare_tar"
}

# unpack_bare_debian <folder>: replaces the folder with a bare Debian 12. Needs mmdebstrap, and
# root or $as_root.
unpack_bare_debian() {
    have_bare_debian || fail "mmdebstrap cannot create a Debian 12 here"
    ${as_root:-} rm -rf --one-file-system "$1"
    mkdir -p "$1"
    run ${as_root:-} tar -x --numeric-owner -f "$bare_tar" -C "$1"
}
