#!/usr/bin/env python3
"""Random requests on containers of both technologies at once, random kills, a full disk now and then.

After each round nothing is at work any more; then every container must hold what the model says, its
package database must be in order, its area must be clean, and the node must be free of leftovers.

  QX_BIN=build/release/bin tests/soak/soak.py [--minutes N] [--seed N]

Exit status: 0 consistent to the end, 1 an inconsistency, 77 not possible here.
"""

import argparse
import collections
import os
import pathlib
import random
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "integration"))

from kr_world import BIN, ENGINES, KrTest, packages  # noqa: E402
from model import ABSENT, PRESENT, UNKNOWN, Model  # noqa: E402
from qxa_world import REASON  # noqa: E402

WORKERS = 3
REQUESTS_A_ROUND = 24
KILL_SHARE = 0.2
FULL_DISK_EVERY = 4
NODE_MEGABYTES = 160
KR = {101: "deb", 102: "rpm", 103: "deb", 104: "rpm"}
STANDARD = (301, 302)
PACKAGES = [f"p{number}" for number in range(5)]
TEMPLATES = [f"w{number}" for number in range(4)]


class World(KrTest):
    """The node under load, on a file system of its own where that is allowed."""

    def runTest(self):
        """A fixture, not a test."""

    def prepare(self):
        """Makes templates, repositories and containers."""
        self.mounted = subprocess.run(
            ["mount", "-t", "tmpfs", "-o", f"size={NODE_MEGABYTES}m", "tmpfs", self.node],
            capture_output=True, check=False,
        ).returncode == 0
        if self.mounted:
            self.addCleanup(subprocess.run, ["umount", "-l", self.node], check=False)
        self.qxa("node", "init", self.node)
        self.offer(packages().rpm("qxbase", provides="/bin/sh"))
        for name in PACKAGES:
            slow = "for i in 1 2 3 4 5 6 7 8; do echo step $i; sleep 0.02; done"
            self.offer(
                packages().deb(name, scripts={"postinst": slow, "prerm": slow}),
                packages().rpm(name, scripts={"post": slow, "preun": slow}),
            )
        for packaging in ("deb", "rpm"):
            self.os_template(f"tiny{packaging}", packaging)
        for veid, packaging in KR.items():
            self.container(veid, f"tiny{packaging}")
        files = [self.package("base", files={f"usr/base/{n}": f"{n}\n" * 50 for n in range(40)})]
        for name in TEMPLATES:
            content = {f"usr/{name}/{number}": f"{name} {number}\n" for number in range(60)}
            files.append(self.package(name, kind="app", base="base", files=content))
        self.qxa("install", *files)
        for veid in STANDARD:
            self.qxa("ct", "create", veid, "--os", "base/1")


class Soak:
    """The load, the model and the checks."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.world = World()
        self.model = Model()
        self.counts = collections.Counter()
        self.wrong = []
        self.full = False
        self.lock = threading.Lock()

    def run(self, minutes):
        """Rounds until the time is up or something is wrong."""
        self.world.setUp()
        try:
            self.world.prepare()
            for veid in KR:
                for name in PACKAGES:
                    self.model.add((veid, name))
            for veid in STANDARD:
                for name in TEMPLATES:
                    self.model.add((veid, name))
            end = time.monotonic() + minutes * 60
            while time.monotonic() < end and not self.wrong:
                self.round()
                self.report()
            return 1 if self.wrong else 0
        finally:
            self.world.doCleanups()

    def round(self):
        """One round of requests, then the checks."""
        self.counts["rounds"] += 1
        self.full = self.world.mounted and self.counts["rounds"] % FULL_DISK_EVERY == 0
        filler = self.world.node / "filler"
        if self.full:
            self.counts["rounds on a full disk"] += 1
            with open(filler, "wb") as file:
                free = os.statvfs(self.world.node)
                file.write(b"\0" * max(0, free.f_bavail * free.f_frsize - (64 << 10)))
        seeds = [self.random.random() for _ in range(WORKERS)]
        workers = [threading.Thread(target=self.work, args=(random.Random(seed),)) for seed in seeds]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        filler.unlink(missing_ok=True)
        self.check()

    def work(self, dice):
        """One worker's requests of a round."""
        for _ in range(REQUESTS_A_ROUND // WORKERS):
            fact = self.model.take(dice.choice)
            if fact is not None:
                self.model.give_back(fact, self.request(dice, *fact))

    def request(self, dice, veid, name):
        """One request, killed or not; answers with what is known of its name afterwards."""
        before = self.model.state((veid, name))
        action = "remove" if before == PRESENT or (before == UNKNOWN and dice.random() < 0.5) else "install"
        label = f"{name}/1" if veid in STANDARD else name
        process = subprocess.Popen(
            [BIN / "qxa", "--node-dir", self.world.node, action, "--ct", str(veid), label],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, stdin=subprocess.DEVNULL,
            start_new_session=True,
        )
        killed = dice.random() < KILL_SHARE
        if killed:
            try:
                process.wait(timeout=dice.random() * 0.8)
                killed = False
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
        printed = process.communicate()[0]
        self.count(action, veid, killed, process.returncode)
        if process.returncode == 0:
            return PRESENT if action == "install" else ABSENT
        if not killed and not self.full and before != UNKNOWN:
            self.blame(f"{action} {label} on {veid} ended with {process.returncode}: {printed.strip()}")
        return UNKNOWN

    def count(self, action, veid, killed, code):
        """Notes a request for the report."""
        kind = "standard" if veid in STANDARD else KR[veid]
        with self.lock:
            self.counts["requests"] += 1
            self.counts[f"{kind} {action}"] += 1
            self.counts["killed" if killed else "done" if code == 0 else "failed"] += 1

    def blame(self, what):
        """Notes an inconsistency, of which one is enough."""
        with self.lock:
            self.wrong.append(f"round {self.counts['rounds']}: {what}")

    def check(self):
        """Every container against the model and against itself."""
        for veid in KR:
            self.settle(veid)
            self.compare(veid, self.world.names("--ct", veid, "--type", "rpm"))
            self.check_database(veid)
        for veid in STANDARD:
            self.settle(veid)
            listed = self.world.names("--ct", veid, "--type", "app")
            self.compare(veid, [name.split("/")[0] for name in listed])
            self.check_files(veid, listed)
        self.check_template_area()

    def check_template_area(self):
        """No change of templates is left half-way: nothing is being prepared, none waits to be carried out."""
        state = self.world.node / "qx/template/.qxtem"
        staged = list((state / "staging").glob("*"))
        if staged:
            self.blame(f"staging is not empty: {staged}")
        journal = state / "journal"
        if journal.exists() and "state done" not in journal.read_text().splitlines():
            self.blame(f"a change of templates is left: {journal.read_text()}")

    def settle(self, veid):
        """A request that changes nothing new: what was interrupted is repaired first."""
        words = ("update", "--ct", veid) if veid in KR else ("update", "--ct", veid, "base")
        done = self.world.run_qxa(*words)
        if done.returncode != 0:
            self.blame(f"{words} ended with {done.returncode}: {done.stderr.strip()}")

    def compare(self, veid, found):
        """The container's list against the model."""
        for contradiction in self.model.compare(veid, found):
            self.blame(f"container {veid}: {contradiction}")

    def check_database(self, veid):
        """The engine's own database: nothing in part, nothing twice."""
        if KR[veid] == "deb":
            bad = [line for line in self.world.deb_state(veid) if not line.startswith(("ii ", "rc "))]
        else:
            names = [line.split()[0] for line in self.world.rpm_state(veid)]
            bad = [name for name, times in collections.Counter(names).items() if times > 1]
        if bad:
            self.blame(f"container {veid}: database holds {bad}")

    def check_files(self, veid, listed):
        """The area against the area checker, and every file through its links."""
        tool = [BIN / "qxa", "--node-dir", self.world.node, "ct", "show", str(veid)]
        if subprocess.run(tool, capture_output=True, check=False).returncode != 0:
            self.blame(f"container {veid} is gone")
        area = self.world.node / "qx/private" / str(veid)
        checker = [BIN / "qxfsutil", "--template-root", self.world.node / "qx/template"]
        checked = subprocess.run([*checker, "check", "-n", area], capture_output=True, text=True, check=False)
        if checked.returncode != 0:
            self.blame(f"area of {veid}: {checked.stdout}{checked.stderr}")
        for name in [label.split("/")[0] for label in listed]:
            read = subprocess.run([*checker, "cat", area, f"/usr/{name}/7"], capture_output=True, text=True, check=False)
            if read.stdout != f"{name} 7\n":
                self.blame(f"container {veid}: /usr/{name}/7 reads as {read.stdout!r} {read.stderr}")

    def report(self):
        """The figures so far."""
        print(", ".join(f"{name} {count}" for name, count in sorted(self.counts.items())), flush=True)
        for what in self.wrong:
            print(f"WRONG: {what}", flush=True)


def main():
    """Reads the options and runs."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--seed", type=int, default=None)
    options = parser.parse_args()
    if ENGINES or REASON:
        print(f"skipped: {ENGINES or REASON}")
        return 77
    seed = options.seed if options.seed is not None else random.SystemRandom().randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    return Soak(seed).run(options.minutes)


if __name__ == "__main__":
    sys.exit(main())
