#!/usr/bin/env python3
"""What a package request adds to the engine: qxa beside the engine's own command, on equal containers.

Prints, for each packaging, the median time of an installation and of a removal through qxa, of the
same command of apt-get, dnf or rpm run by itself, and the difference. Both sides run in turns, so
that what else the machine does falls on both. Exit status: 0 the bound holds, 1 it does not.

  QX_BIN=build/release/bin bench/kr_request.py [ROUNDS]
"""

import pathlib
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "integration"))

from kr_world import BIN, ENGINES, KrTest, packages  # noqa: E402

BUDGET_MS = 100


class Bench(KrTest):
    """A node with two equal containers of each packaging: one for qxa, one for the engine alone."""

    def runTest(self):
        """A fixture, not a test."""

    def prepare(self):
        """Makes the containers, and lets qxpkg write its configuration for each once."""
        self.offer(
            packages().rpm("qxbase", provides="/bin/sh"),
            packages().deb("zero"), packages().rpm("zero"),
            packages().deb("one"), packages().rpm("one"),
        )
        for veid, packaging in ((101, "deb"), (102, "rpm"), (201, "deb"), (202, "rpm")):
            self.os_template(f"tiny{packaging}", packaging)
            self.container(veid, f"tiny{packaging}")
            self.qxa("install", "--ct", veid, "zero")

    def engine(self, veid):
        """The command line of the engine by itself up to its action, and its environment."""
        store = self.node / f"var/lib/qxagent/qxpkg/{veid}"
        outside = {
            "/container": str(self.root(veid)), "/etc/qxpkg": f"{store}/conf", "/var/cache/qxpkg": f"{store}/cache",
        }
        for name in ("apt.conf", "dnf.conf", "sources.list"):
            file = store / "conf" / name
            if file.exists():
                text = file.read_text()
                for inside, path in outside.items():
                    text = text.replace(inside, path)
                (store / f"alone-{name}").write_text(text.replace(f"{store}/conf/sources.list\"", f"{store}/alone-sources.list\""))
        if (store / "conf/apt.conf").exists():
            return ["apt-get"], {"APT_CONFIG": str(store / "alone-apt.conf"), "DEBIAN_FRONTEND": "noninteractive"}
        return [
            "dnf", f"--config={store}/alone-dnf.conf", f"--installroot={self.root(veid)}", "--releasever=0",
            f"--setopt=cachedir={store}/cache/dnf", f"--setopt=logdir={store}/cache/log",
        ], {"HOME": str(store / "conf/home")}

    def alone(self, veid, action):
        """Installs or removes with the engine by itself."""
        command, environment = self.engine(veid)
        if command[0] == "dnf" and action == "remove":
            command = ["rpm", "--root", str(self.root(veid)), "--dbpath", "/var/lib/rpm", "-e"]
        else:
            command = [*command, action]
        return [*command, "one"], {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C", **environment}

    def through_qxa(self, veid, action):
        """The same as a request."""
        return [str(BIN / "qxa"), "--node-dir", str(self.node), action, "--ct", str(veid), "one"], None


def timed(command):
    """Milliseconds that a command takes."""
    words, environment = command
    begin = time.monotonic()
    done = subprocess.run(words, env=environment, capture_output=True, text=True, check=False)
    spent = (time.monotonic() - begin) * 1000
    if done.returncode != 0:
        sys.exit(f"{words}: {done.stdout}{done.stderr}")
    return spent


def main():
    """Runs both sides in turns, prints and judges them."""
    if ENGINES is not None:
        sys.exit(f"kr_request: {ENGINES}")
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 15
    bench = Bench()
    bench.setUp()
    try:
        bench.prepare()
        times = {}
        for _ in range(rounds):
            for ours, theirs, packaging in ((101, 201, "deb"), (102, 202, "rpm")):
                for action in ("install", "remove"):
                    times.setdefault((packaging, action, 0), []).append(timed(bench.through_qxa(ours, action)))
                    times.setdefault((packaging, action, 1), []).append(timed(bench.alone(theirs, action)))
        print(f"{'':14} {'qxa':>8} {'engine':>8} {'added':>8}   (ms, median of {rounds}; bound {BUDGET_MS} added)")
        failed = False
        for packaging, action, side in sorted(times):
            if side == 0:
                ours = statistics.median(times[packaging, action, 0])
                theirs = statistics.median(times[packaging, action, 1])
                failed |= ours - theirs >= BUDGET_MS
                verdict = "" if ours - theirs < BUDGET_MS else "   TOO MUCH"
                print(f"{packaging} {action:10} {ours:8.0f} {theirs:8.0f} {ours - theirs:8.0f}{verdict}")
    finally:
        bench.doCleanups()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
