#!/usr/bin/env bash
# Runs the plug-in's benchmarks over lists of records and judges their growth, from one run:
#
#   sorting, selecting, finding compatible templates, writing and reading messages:
#   the cost of a record, divided by log n, at 10^5 records is at most 5 times that at 10^4
#
# Quadratic work would show as 8 times. The rest up to 5 is the memory's: lists of 10^5 records
# have left the processor's caches.
#
#   bench/plugin.sh [BUILD-DIRECTORY]     default: build/release
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
program="${1:-build/release}/bin/plugin_bench"
if [[ ! -x $program ]]; then
    echo "plugin.sh: no $program; build the target plugin_bench with QX_BUILD_BENCH" >&2
    exit 2
fi

# Processor time, and the median of several repetitions: neighbours on the machine disturb the rest.
"$program" --benchmark_repetitions=5 \
    --benchmark_min_time=0.1 --benchmark_report_aggregates_only=true --benchmark_format=json |
    python3 -c '
import json
import math
import sys

LIMIT = 5.0
times = {}
for run in json.load(sys.stdin)["benchmarks"]:
    if run.get("aggregate_name") == "median":
        name, records = run["run_name"].split("/")
        times.setdefault(name, {})[int(records)] = run["cpu_time"]

failed = False
print(" " * 28 + "     10^3      10^4      10^5    growth over n log n")
for name, of in times.items():
    small, large = 10**4, 10**5
    growth = (of[large] / (large * math.log(large))) / (of[small] / (small * math.log(small)))
    failed |= growth > LIMIT
    figures = " ".join(f"{of[records]:6.2f} ms" for records in sorted(of))
    verdict = "ok" if growth <= LIMIT else "TOO MUCH"
    print(f"{name:28} {figures}    {growth:5.2f} times, limit {LIMIT:.2f}  {verdict}")
sys.exit(1 if failed else 0)
'
