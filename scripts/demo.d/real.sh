# shellcheck shell=bash
# shellcheck disable=SC2154 # work is set by scripts/demo
# The machine's own Debian mirror: a cache built from it, a container, and a real package.

# timed WORD...: runs a command and says how long it took.
timed() {
    local begin=$EPOCHREALTIME end
    show "$@"
    end=$EPOCHREALTIME
    awk -v b="$begin" -v e="$end" 'BEGIN { printf "(%.1f s)\n", e - b }'
}

sources=
for candidate in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list; do
    if [[ -z $sources && -s $candidate ]]; then
        sources=$candidate
    fi
done
if [[ -z $sources ]]; then
    echo "demo: this machine's apt has no sources to build from" >&2
    exit 1
fi
release=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)

say "An OS template over this machine's mirror ($sources, $release)"
[[ -d $QXA_NODE_DIR ]] || show qxa node init "$QXA_NODE_DIR"
mkdir -p "$work/debian"
cat >"$work/debian/template.toml" <<TOML
technology = "kr"
kind = "os"
name = "debian"
version = "1"
summary = "Debian $release, only what is essential"
packaging = "deb"
release = "$release"
variant = "essential"

[[repositories]]
sources = "$sources"
TOML
qxpkg pack "$work/debian" "$work/debian.tar.gz"

say "Installing the template builds its cache"
timed qxa install "$work/debian.tar.gz"
timed qxa ct create 110 --os .debian

say "A real package comes, is updated and goes"
timed qxa install --ct 110 hello
show bwrap --bind "$QXA_NODE_DIR/qx/private/110/root" / /usr/bin/hello
timed qxa list --ct 110 --type rpm
timed qxa update --ct 110 hello
timed qxa remove --ct 110 hello
