# shellcheck shell=bash
# build.sh: what the scripts that build have in common (sourced by bash, from the root of the clone).

# drop_moved_build DIR: removes a build that was made elsewhere. A clone that is moved or copied takes its builds along, and
# these name the old place and cannot be used.
drop_moved_build() {
    grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$1/CMakeCache.txt" || rm -rf "$1"
}
