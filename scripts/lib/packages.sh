# shellcheck shell=bash
# packages.sh: installs Debian packages for the scripts of this project (sourced by bash).
#
#     . scripts/lib/packages.sh
#     need_packages g++ cmake ninja-build || exit 1

# package_present NAME: returns 0 when the package is completely installed, not only known or partly removed.
package_present() {
    dpkg-query -W -f='${db:Status-Abbrev}\n' "$1" 2>/dev/null | grep -q '^.i '
}

# as_root COMMAND...: runs the command as root, or fails. sudo may prompt for a password only on a terminal.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif sudo -n true 2>/dev/null; then
        sudo -n "$@"
    elif [ -t 0 ] && [ -t 2 ] && command -v sudo >/dev/null; then
        sudo "$@"
    else
        return 1
    fi
}

# apt_get ARGUMENT...: apt-get without prompts, which waits for another apt instead of failing.
apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -qq -o DPkg::Lock::Timeout=300 "$@" </dev/null
}

# need_packages NAME...: installs the packages that are missing, if that is possible, and returns 0. Otherwise it prints
# the command to run on standard error, and returns 1. When no package is missing, it prints nothing.
need_packages() {
    local name log missing=()
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "${0##*/}: this is not a Debian system; needed here is what Debian calls: $*" >&2
        return 1
    fi
    for name; do
        package_present "$name" || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if ! as_root true; then
        echo "${0##*/}: packages are missing and only root can install them; run" >&2
        echo "    apt-get install --no-install-recommends ${missing[*]}" >&2
        return 1
    fi
    echo "${0##*/}: installing ${missing[*]}" >&2
    log=$(mktemp) || return 1
    # A failed update does not stop the script, because older lists may be enough. If they are not, the installation
    # fails.
    apt_get update >"$log" 2>&1
    if apt_get install --no-install-recommends "${missing[@]}" >>"$log" 2>&1; then
        rm -f "$log"
        return 0
    fi
    tail -n 20 "$log" >&2
    rm -f "$log"
    echo "${0##*/}: the installation failed; expected to have: ${missing[*]}" >&2
    return 1
}
