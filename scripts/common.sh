# Functions that the scripts share. Sourced with the repository root as working directory.

# Tells what is done next.
say() {
    printf '\n== %s\n' "$*"
}

# Ends the script with a message.
fail() {
    printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Runs a command after showing it; ends the script when it fails.
run() {
    printf '+ %s\n' "$*"
    "$@" || fail "failed: $*"
}

# need <package>...: installs those Debian packages that are missing. Asks the network only then.
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
    # Word splitting is wanted: one word a package.
    # shellcheck disable=SC2086
    run $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends $missing
}
