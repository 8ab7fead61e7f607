#!/usr/bin/env bash
# Runs the index benchmarks and judges them, both sides from the same run:
#
#   checking an index        at most 2.0 times MD5 over its bytes   (100, 10^4, 10^6 entries)
#   writing 10^6 entries     at most 2.5 times a plain write of the same bytes and MD5 over them
#   cost of an entry         at most 20 % more at 10^6 entries than at 10^4
#   memory of an entry       at most 120 bytes, its name aside      (10^6 entries)
#
#   bench/dirindex.sh [BUILD-DIRECTORY]     default: build/release
#
# Exit status: 0 all hold, 1 one does not, 2 the benchmark cannot be run.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
    -h | --help)
        sed -n '2,12s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
esac
program="${1:-build/release}/bin/dirindex_bench"
if [[ ! -x $program ]]; then
    echo "dirindex.sh: no $program; build the target dirindex_bench with QX_BUILD_BENCH" >&2
    exit 2
fi

# Processor time, and the median of several repetitions: neighbours on the machine disturb the rest.
"$program" --benchmark_repetitions=5 \
    --benchmark_min_time=0.1 --benchmark_report_aggregates_only=true --benchmark_format=json |
    python3 -c '
import json
import sys

runs = {}
for run in json.load(sys.stdin)["benchmarks"]:
    if run.get("aggregate_name") == "median":
        name, entries, links = run["run_name"].split("/")[:3]
        runs[name, int(entries), int(links)] = run

failed = False


def judge(what, value, limit, unit):
    global failed
    failed |= value > limit
    verdict = "ok" if value <= limit else "TOO MUCH"
    print(f"{what:58} {value:8.2f} {unit:7} limit {limit:6.2f}  {verdict}")


def time(name, entries, links):
    return runs[name, entries, links]["cpu_time"]


for entries, links in ((100, 1), (10**4, 1), (10**6, 1)):
    judge(f"check of {entries} entries / MD5",
          time("BM_Check", entries, links) / time("BM_Md5", entries, links), 2.0, "times")
for links in (1, 10**5):
    judge(f"writing 10^6 entries, {links} links / fwrite and MD5",
          time("BM_Emit", 10**6, links) / time("BM_WriteInOnePiece", 10**6, links), 2.5, "times")
for name, what in (("BM_Check", "check"), ("BM_Emit", "writing")):
    for small, large in ((1, 1), (10**4, 10**5)):
        growth = (time(name, 10**6, large) / 10**6) / (time(name, 10**4, small) / 10**4)
        judge(f"{what}: entry at 10^6 ({large} links) / at 10^4 ({small})", growth, 1.2, "times")
for links in (1, 10**5):
    judge(f"memory of an entry, 10^6 entries, {links} links",
          runs["BM_Memory", 10**6, links]["bytes_per_entry"], 120, "bytes")
sys.exit(1 if failed else 0)
'
