#!/bin/sh
# check_recipes.sh CMAKE BUILD_FOLDER SOURCE_DIR VERSION
# Checks the recipes for OpenWrt and Buildroot, as far as possible without these systems. make reads the recipes with
# substitutes for the files that they include. Each option that they pass to CMake must exist. The files that the
# OpenWrt package takes from an installation are checked.
set -eu
cmake=$1 build=$2 source=$3 version=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/include"
: >"$work/rules.mk"
: >"$work/include/package.mk"
: >"$work/include/cmake.mk"
DESTDIR="$work/installed" "$cmake" --install "$build" --prefix /usr >/dev/null
# Debian has a folder of libraries for each machine. OpenWrt has only /usr/lib.
libraries=$(dirname "$(find "$work/installed" -name libquill.so)")
[ "$libraries" = "$work/installed/usr/lib" ] || mv "$libraries"/libquill.so.* "$work/installed/usr/lib"

cat >"$work/openwrt.mk" <<'END'
CURDIR := $(RECIPE)
BuildPackage =
include $(RECIPE)/Makefile
version: ; @echo $(PKG_VERSION)
options: ; @echo $(CMAKE_OPTIONS)
define install_all
$(call Package/libquill/install,$(ROOT))
$(call Package/quill/install,$(ROOT))
endef
install: ; $(install_all)
END
cat >"$work/buildroot.mk" <<'END'
BR2_EXTERNAL_QUILL_PATH := $(RECIPE)
qstrip = $(strip $(subst ",,$(1)))
cmake-package =
include $(RECIPE)/external.mk
version: ; @echo $(QUILL_VERSION)
options: ; @echo $(QUILL_CONF_OPTS)
END
# usage: run_make RECIPE TARGET
run_make() {
    make -s -f "$work/$1.mk" TOPDIR="$work" INCLUDE_DIR="$work/include" PKG_INSTALL_DIR="$work/installed" \
        ROOT="$work/root" INSTALL_DIR="mkdir -p" INSTALL_BIN="cp" CP="cp -P" \
        RECIPE="$source/packaging/$1$([ "$1" = buildroot ] || echo /quill)" \
        BR2_PACKAGE_QUILL_PARENT_CERTIFICATE='"p.der"' BR2_PACKAGE_QUILL_TOP_CERTIFICATE='"t.der"' \
        QUILL_PARENT_CERTIFICATE=p.der QUILL_TOP_CERTIFICATE=t.der "$2"
}
for recipe in openwrt buildroot; do
    [ "$(run_make "$recipe" version)" = "$version" ] ||
        { echo "$recipe: version $(run_make "$recipe" version)"; exit 1; }
    options=$(run_make "$recipe" options)
    for wanted in -DQUILL_TESTS=OFF -DQUILL_PARENT_CERTIFICATE=p.der -DQUILL_TOP_CERTIFICATE=t.der; do
        case " $options " in *" $wanted "*) ;; *) echo "$recipe does not give CMake $wanted: $options"; exit 1 ;; esac
    done
    for option in $options; do
        name=${option#-D} name=${name%%=*}
        grep -q "^$name:" "$build/CMakeCache.txt" || { echo "$recipe: no option of the build: $option"; exit 1; }
    done
done
run_make openwrt install
[ "$(cd "$work/root/usr" && ls bin lib | sort)" = \
    "$(printf '%s\n' '' bin: lib: "libquill.so.${version%%.*}" "libquill.so.$version" quill | sort)" ] ||
    { find "$work/root"; echo "these files are what the OpenWrt packages would hold"; exit 1; }
echo "the recipes give version $version and known options, and take the shared object"
