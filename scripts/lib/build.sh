# shellcheck shell=bash
# build.sh: functions for the scripts that build (sourced by bash, from the root of the clone).

# drop_moved_build DIR: removes a build that was made in another place. The builds in a moved or copied clone have the
# path of the old place, and cannot be used.
drop_moved_build() {
    local home
    home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$1/CMakeCache.txt" 2>/dev/null)
    [ -n "$home" ] || return 0
    [ ! "$home" -ef . ] || return 0
    echo "${0##*/}: $1 was built for $home, starting afresh" >&2
    rm -rf "$1"
}
