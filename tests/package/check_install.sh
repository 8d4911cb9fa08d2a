#!/bin/sh
# check_install.sh CMAKE BUILD_FOLDER SOURCE_DIR [-DOPTION...]
# Uses the installed library as other projects do, from folders with blanks in their names. Programs in C (and in C++,
# with -DCXX_PROGRAMS=ON) are built through CMake and pkg-config, and run. They are linked with the shared object and
# with the archive. The environment has CC and CXX with their flags for this target. RUN is the command that runs
# programs of the target; if RUN is empty, the machine runs them itself.
set -eu
cmake=$1 build=$2 source=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
stage="$work/a stage" programs="$source/tests/package/consumer"
"$cmake" --install "$build" --prefix "$stage" >"$work/log" || { cat "$work/log"; exit 1; }
if grep -rlI -e "$work" -e "$build" -e "$source" "$stage"; then
    echo "these name a folder of this machine"
    exit 1
fi

# The installed program finds the library of its own installation, without environment variables.
if installed=$(find "$stage" -path '*/bin/quill' | grep .); then
    env -i $RUN "$installed" --version
fi

folder=$(dirname "$(find "$stage" -name quillConfig.cmake)")
{ "$cmake" -S "$programs" -B "$work/a build" -G Ninja -Dquill_DIR="$folder" "$@" &&
    "$cmake" --build "$work/a build"; } >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
echo "built and run through find_package"

. "$source/tests/package/installed.sh"
use_installed "$stage"
cd "$work"
# usage: build_and_run COMPILER SOURCE [static]
build_and_run() {
    link_installed "$1" "$programs/$2" program "${3-}"
    $RUN ./program
}
build_and_run "$CC -std=c11" consumer.c
build_and_run "$CC -std=c11" consumer.c static
case " $* " in *" -DCXX_PROGRAMS=ON "*) build_and_run "$CXX -std=c++17" consumer.cpp ;; esac
echo "built and run through pkg-config"

# The commands of the guides use this machine's compiler, so other targets end here. In the guides, ~/quill is the
# installed library; here it leads to the stage.
case "$*" in *TOOLCHAIN*) exit 0 ;; esac
[ -z "$RUN" ] && [ "$libraries" = "$stage/lib" ] || exit 0
# The Python module finds the library of its own installation, and its documented session works.
module="$stage/lib/python3/dist-packages/quill.py"
(cd / && env -i PATH="$PATH" PYTHONDONTWRITEBYTECODE=1 python3 -m doctest "$module") || exit 1
mkdir home
ln -s "$stage" home/quill
# usage: run_guide GUIDE: writes its C programs, runs its commands (which follow "$ "), and compares what they print
run_guide() {
    guide="$source/docs/$1.md"
    mkdir "$work/$1"
    cd "$work/$1"
    awk '/^```c$/ { getline; file = $3 } /^```$/ { file = "" } file { print >file }
        /^    \$ / { shown = 1; print substr($0, 7) >"commands"; next }
        !/^    / { shown = 0 }
        shown { print substr($0, 5) >"wanted" }' "$guide"
    HOME="$work/home" timeout 60 sh -e ./commands >got 2>&1 || { cat got; exit 1; }
    diff wanted got || { echo "$1.md: its commands print otherwise"; exit 1; }
}
run_guide from-32-to-64-bits
run_guide from-syslog
run_guide getting-started
indented() { sed -n "/$1/,/$2/s/^    //p" "$guide" | sed "s|/tmp/stationd|$work/socket|g"; }
indented '^## Build and run it' '^prints' >commands
indented '^prints' '^With CMake' >wanted
indented '^With CMake' '^configured with' >CMakeLists.txt
[ -s commands ] && [ -s wanted ] && [ -s CMakeLists.txt ] || { echo "the guide has changed its form"; exit 1; }
HOME="$work/home" timeout 60 sh -e ./commands >got 2>&1 || { cat got; exit 1; }
grep -v '^$' wanted | diff - got || { echo "the guide prints otherwise"; exit 1; }
{ "$cmake" -B build -G Ninja "-DCMAKE_PREFIX_PATH=$stage" && "$cmake" --build build; } >log 2>&1 || { cat log; exit 1; }
echo "built and run as the guides say"
