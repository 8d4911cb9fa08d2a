# Sourced by the checks that link programs with the installed library through pkg-config.

# usage: use_installed FOLDER      sets libraries, the folder of the shared object
use_installed() {
    libraries=$(dirname "$(find "$1" -name libquill.so)")
    export PKG_CONFIG_LIBDIR="$libraries/pkgconfig" LD_LIBRARY_PATH="$libraries"
}

# usage: link_installed COMPILER SOURCE PROGRAM [static]
link_installed() {
    flags=$(pkg-config --cflags --libs ${4:+--static} quill)
    [ -z "${4-}" ] || flags="-Wl,-Bstatic $flags -Wl,-Bdynamic"
    eval "$1 '$2' -o $3 $flags"
}
