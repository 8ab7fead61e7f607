# shellcheck shell=bash
# shellcheck disable=SC2154 # work is set by scripts/demo
# KR templates: OS templates of deb and of rpm packages over repositories of tiny packages made here,
# containers started from their caches, and packages installed, updated and removed by the real
# engines. No network is used.

packages=$work/packages

# deb_of NAME VERSION [DEPENDS]: makes a deb file of the tree $packages/NAME.
deb_of() {
    mkdir -p "$packages/$1/DEBIAN" "$packages/deb"
    {
        printf 'Package: %s\nVersion: %s\nArchitecture: all\n' "$1" "$2"
        printf 'Maintainer: Demonstration <demo@example.invalid>\nDescription: package %s\n' "$1"
        [[ -z ${3:-} ]] || printf 'Depends: %s\n' "$3"
    } >"$packages/$1/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$packages/$1" "$packages/deb" >/dev/null
    rm -r "$packages/$1/DEBIAN"
    (cd "$packages/deb" && dpkg-scanpackages -m . 2>/dev/null >Packages)
}

# rpm_of NAME VERSION [LINE]: makes an rpm file of the same tree; LINE goes into the preamble.
rpm_of() {
    mkdir -p "$packages/rpm"
    {
        printf 'Name: %s\nVersion: %s\nRelease: 1\nSummary: package %s\nLicense: none\n' "$1" "$2" "$1"
        printf 'BuildArch: noarch\nAutoReqProv: no\n%s\n' "${3:-}"
        printf '%%description\npackage %s\n%%install\ncp -a %s/. %%{buildroot}/\n%%files\n' "$1" "$packages/$1"
        (cd "$packages/$1" && find . ! -type d | sed 's,^\.,,')
    } >"$packages/$1.spec"
    # Programs in a package for every architecture are no mistake here, and stay as they are.
    rpmbuild -bb --define "_topdir $packages/top" --define '__os_install_post %{nil}' \
        --define '_binaries_in_noarch_packages_terminate_build 0' "$packages/$1.spec" \
        >"$packages/$1.log" 2>&1 || { cat "$packages/$1.log" && exit 1; }
    mv "$packages"/top/RPMS/noarch/*.rpm "$packages/rpm"
    createrepo_c -q "$packages/rpm"
}

# base_tree: a root in which package scripts run.
base_tree() {
    local applet
    mkdir -p "$packages/tinybase"/{bin,etc}
    cp "$(command -v busybox)" "$packages/tinybase/bin/busybox"
    for applet in sh cat echo ls mkdir rm true; do
        ln -sf busybox "$packages/tinybase/bin/$applet"
    done
    printf 'root:x:0:0::/root:/bin/sh\n' >"$packages/tinybase/etc/passwd"
    printf 'root:x:0:\n' >"$packages/tinybase/etc/group"
}

# words_of VERSION: a tool that prints words, as a package of each kind.
words_of() {
    mkdir -p "$packages/words/usr/bin"
    printf '#!/bin/sh\necho words %s\n' "$1" >"$packages/words/usr/bin/words"
    chmod 755 "$packages/words/usr/bin/words"
    deb_of words "$1" tinybase
    rpm_of words "$1" 'Requires: tinybase'
}

# os_template_of KIND: an OS template of this packaging with one application template.
os_template_of() {
    local kind=$1 scheme=file folder=$work/tiny$1
    [[ $kind == rpm ]] || scheme=copy
    mkdir -p "$folder/app"
    cat >"$folder/template.toml" <<TOML
technology = "kr"
kind = "os"
name = "tiny$kind"
version = "1"
summary = "A tiny system of $kind packages"
packaging = "$kind"
variant = "empty"
base_packages = ["tinybase"]

[[repositories]]
url = "$scheme:$packages/$kind"
suite = "./"
trusted = true
TOML
    cat >"$folder/app/words.toml" <<TOML
technology = "kr"
kind = "app"
name = "words"
os = "tiny$kind"
summary = "Words for everybody"
packages = ["words"]
TOML
    qxpkg pack "$folder" "$work/tiny$kind.tar.gz"
}

say "Repositories of tiny deb and rpm packages, and an OS template over each"
base_tree
deb_of tinybase 1.0
rpm_of tinybase 1.0 'Provides: /bin/sh'
words_of 1.0
os_template_of deb
os_template_of rpm
show ls "$packages/deb" "$packages/rpm"

say "The node gets the OS templates; their caches are built on the way"
[[ -d $QXA_NODE_DIR ]] || show qxa node init "$QXA_NODE_DIR"
show qxa install "$work/tinydeb.tar.gz" "$work/tinyrpm.tar.gz"
show qxa list --type os,app --summary

say "A container from the cache of each"
show qxa ct create 102 --os .tinydeb
show qxa ct create 103 --os .tinyrpm

say "Packages by name, and by application template"
show qxa install --ct 102 words
show qxa install --ct 103 .tinyrpm/words
show qxa list --ct 102,103 --type rpm
show qxa info --ct 102 words
for container in 102 103; do
    show bwrap --bind "$QXA_NODE_DIR/qx/private/$container/root" / /usr/bin/words
done

say "A newer package appears; both containers are updated"
words_of 1.1
show qxa update --ct 102,103
show bwrap --bind "$QXA_NODE_DIR/qx/private/103/root" / /usr/bin/words

say "What others need stays, unless they go along"
show qxa remove --ct 103 tinybase || echo "(exit status $?)"
show qxa remove --ct 102 --with-dependent tinybase
show qxa remove --ct 103 .tinyrpm/words

say "A package whose script fails counts as a failure, is named, and is taken back"
mkdir -p "$packages/broken/usr/share/broken" "$packages/broken/DEBIAN"
printf '#!/bin/sh\necho this cannot work\nexit 3\n' >"$packages/broken/DEBIAN/postinst"
chmod 755 "$packages/broken/DEBIAN/postinst"
show qxa ct create 104 --os .tinydeb
deb_of broken 1.0
show qxa install --ct 104 broken || echo "(exit status $?)"
show qxa list --ct 104 --type rpm

say "An OS template in use is not removed from the node"
show qxa remove .tinyrpm || echo "(exit status $?)"
