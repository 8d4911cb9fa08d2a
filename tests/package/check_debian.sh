#!/bin/sh
# check_debian.sh SOURCE_DIR VERSION
# The Debian packages are built from the tree and pass lintian. They are installed, used and removed in a temporary copy
# of this machine. The copy is an overlay, so the script must run with mounts of its own. The script needs root; without
# root, the test is skipped (77).
set -eu
source=$1 version=$2 here=$(cd "$(dirname "$0")" && pwd)
[ "$(id -u)" -eq 0 ] || { echo "skipped: takes root"; exit 77; }

work=$(mktemp -d)
mount -t tmpfs tmpfs "$work" || { echo "skipped: mounts nothing"; exit 77; }
finish() {
    cd /
    umount -R "$work" && rmdir "$work"
}
trap finish EXIT

mkdir "$work/tree"
tar -C "$source" --exclude=./build --exclude=./.git -c . | tar -C "$work/tree" -x --no-same-owner
cd "$work/tree"
[ "$(dpkg-parsechangelog -S Version)" = "$version" ] ||
    { echo "debian/changelog is not about version $version"; exit 1; }
DEB_BUILD_OPTIONS="nocheck parallel=2" dpkg-buildpackage --no-sign --build=full --no-check-builddeps \
    >"$work/log" 2>&1 ||
    { tail -n 40 "$work/log"; exit 1; }
cd "$work"
ls ./*.deb
lintian --allow-root --info --display-info --fail-on error,warning ./*.changes
echo "lintian: nothing"

mkdir upper overlay root
mount -t overlay overlay -o "lowerdir=/,upperdir=$work/upper,workdir=$work/overlay" root ||
    { echo "skipped: no overlay"; exit 77; }
mount --bind "$work" root/mnt
mount -t proc proc root/proc
cp "$here/consumer/consumer.c" .
# Lists the files before and after, except for the linker's cache.
list='find /usr /etc -xdev -name "ld.so.cache*" -o -print | sort'
chroot root sh -ec "
    export DEBIAN_FRONTEND=noninteractive
    $list >/mnt/before
    dpkg --path-include='/usr/share/*' --install /mnt/*.deb
    cc /mnt/consumer.c -o /mnt/consumer \$(pkg-config --cflags --libs quill) && /mnt/consumer
    man HashCreateExt | grep -A 1 '^NAME' | grep HashCreateExt
    gdb -batch -ex 'help info quill' /usr/lib/*/libquill.so.1 | grep -q '^Usage: info quill'
    sign-reg-table --help >/dev/null
    quill vlan 1-10,20 + 30 - 5 | grep -qx 1-4,6-10,20,30
    man quill | grep -q 'flash-history'
    env -i PATH=/usr/bin PYTHONDONTWRITEBYTECODE=1 python3 -c 'import quill; assert quill.VlanSet([1])'
    bash -c '. /usr/share/bash-completion/completions/quill; complete -p quill'
    test -s /usr/share/zsh/vendor-completions/_quill -a -s /usr/share/fish/vendor_completions.d/quill.fish
    ! command -v tshark >/dev/null || tshark -G protocols | grep -q quill_tlv
    test -s /usr/share/doc/libquill-doc/html/index.html
    cd /usr/share/doc/libquill-doc
    for page in README.md docs/*.md; do
        for link in \$(grep -oE '\]\([^)]+\)' \$page | sed 's/^](//; s/)//; s/#.*//' | grep -v '^https*:' | sort -u); do
            test -e \$(dirname \$page)/\$link || { echo \"\$page: no \$link\"; exit 1; }
        done
    done
    for example in examples/*/; do
        cmake -S \$example -B /mnt/example >/dev/null && cmake --build /mnt/example >/dev/null && rm -r /mnt/example
    done
    cd /
    dpkg --purge python3-quill quill-tools-dbgsym quill-tools libquill-doc libquill1-dbgsym libquill-dev libquill1
    $list >/mnt/after
" >log 2>&1 || { cat log; exit 1; }
diff before after || { echo "removed, the packages leave that"; exit 1; }
echo "installed, used and removed"
