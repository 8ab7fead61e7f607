#!/usr/bin/env bash
# Lists a container with 3000 packages through libqxtt and with the engine's own list command, for deb
# and for rpm, and judges, both sides from the same run:
#
#   processor time of the listing    at most 2.0 times the engine's own
#   memory of the listing            at most 150 MiB, programs included
#
# Processor time, because neighbours on the machine disturb the wall clock, which is printed too.
#
#   bench/kr_list.sh [BUILD-DIRECTORY]     default: build/release
#
# The databases are the engines' own: dpkg's is the text that dpkg keeps; rpm's is made by rpm from
# packages built here, whose headers are then multiplied.
#
# Exit status: 0 all hold, 1 one does not, 2 the benchmark cannot be run.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
    -h | --help)
        sed -n '2,17s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
esac
program="$(realpath "${1:-build/release}")/bin/kr_list_bench"
if [[ ! -x $program ]]; then
    echo "kr_list.sh: no $program; build the target kr_list_bench with QX_BUILD_BENCH" >&2
    exit 2
fi
for needed in dpkg-query rpm rpmbuild bwrap python3; do
    if ! command -v "$needed" >/dev/null; then
        echo "kr_list.sh: needs $needed" >&2
        exit 2
    fi
done

packages=3000
built=100
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
node=$work/node

# container VEID OS PACKAGING: metadata and configuration of a container, and its empty root.
container() {
    local kr=$node/qx/template/kr/$2
    mkdir -p "$kr" "$node/etc/sysconfig/qx-scripts" "$node/etc/qxagent" "$node/var/lib/qxagent" \
        "$node/qx/private/$1/root/var/lib"
    printf 'technology = "kr"\nkind = "os"\nname = "%s"\npackaging = "%s"\n' "$2" "$3" >"$kr/template.toml"
    printf 'OSTEMPLATE=".%s"\n' "$2" >"$node/etc/sysconfig/qx-scripts/$1.conf"
}

make_deb() {
    container 101 debs deb
    mkdir -p "$node/qx/private/101/root/var/lib/dpkg/updates"
    seq -f '%04g' "$packages" | awk '{
        printf "Package: bench%s\nStatus: install ok installed\nPriority: optional\nSection: misc\n", $1
        printf "Installed-Size: 100\nMaintainer: A tester <tester@example.invalid>\n"
        printf "Architecture: amd64\nVersion: 1.%s-1\nDepends: libc6 (>= 2.36), bench0001 (>= 1.0)\n", $1
        printf "Conffiles:\n /etc/bench%s.conf 0123456789abcdef0123456789abcdef\n", $1
        printf "Description: Package %s of the benchmark\n", $1
        for (i = 0; i < 8; ++i) print " A line of a description that is as long as such lines are."
        printf "\n"
    }' >"$node/qx/private/101/root/var/lib/dpkg/status"
}

make_rpm() {
    container 102 rpms rpm
    local root=$node/qx/private/102/root
    {
        printf 'Name: bench\nVersion: 1.0\nRelease: 1\nSummary: none\nLicense: none\nBuildArch: noarch\n'
        printf 'AutoReqProv: no\n%%description\nnone\n'
        seq -f '%04g' "$built" | awk '{
            printf "%%package -n bench%s\nSummary: Package %s of the benchmark\n", $1, $1
            printf "%%description -n bench%s\n", $1
            for (i = 0; i < 8; ++i) print "A line of a description that is as long as such lines are."
            printf "%%files -n bench%s\n", $1
            for (i = 0; i < 50; ++i) printf "%%ghost /usr/share/bench%s/file%d\n", $1, i
        }'
    } >"$work/bench.spec"
    rpmbuild -bb --quiet --define "_topdir $work/top" "$work/bench.spec" >"$work/log" 2>&1 || {
        cat "$work/log" >&2
        exit 2
    }
    rpm --force-debian --root "$root" --dbpath /var/lib/rpm -U --justdb --nodeps "$work"/top/RPMS/noarch/*.rpm
    python3 - "$root/var/lib/rpm/rpmdb.sqlite" "$((packages / built - 1))" <<'PYTHON'
import sqlite3
import sys

database = sqlite3.connect(sys.argv[1])
headers = database.execute("SELECT blob FROM Packages").fetchall()
for _ in range(int(sys.argv[2])):
    database.executemany("INSERT INTO Packages(blob) VALUES(?)", headers)
database.commit()
PYTHON
    # Python's library removes the log's files when it closes; rpm keeps them.
    rpm --force-debian --root "$root" --dbpath /var/lib/rpm -U --justdb --nodeps --replacepkgs \
        "$work/top/RPMS/noarch/bench0001-1.0-1.noarch.rpm"
}

make_deb
make_rpm
{
    "$program" "$node" 101 deb
    "$program" "$node" 102 rpm
} | python3 -c '
import json
import sys

failed = False


def judge(what, value, limit, unit):
    global failed
    failed |= value > limit
    verdict = "ok" if value <= limit else "TOO MUCH"
    print(f"{what:44} {value:8.2f} {unit:6} limit {limit:6.2f}  {verdict}")


for kind, line in zip(("deb", "rpm"), sys.stdin, strict=True):
    run = json.loads(line)
    library, engine = run["library"], run["engine"]
    if library["packages"] < 2900:
        sys.exit("kr_list.sh: the listing is not whole")
    for side, figures in run.items():
        print("%s, %s: %d packages, %.1f ms of processor, %.1f ms, %d KiB" % (
            kind, side, figures["packages"], figures["processor"], figures["wall"],
            figures["kibibytes"]))
    judge(f"{kind}: listing / the engine alone",
          library["processor"] / engine["processor"], 2.0, "times")
    judge(f"{kind}: memory of the listing", library["kibibytes"] / 1024, 150.0, "MiB")
sys.exit(1 if failed else 0)
'
