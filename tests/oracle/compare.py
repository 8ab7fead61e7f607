"""Compares the library with the model over seeded directories and damages.

    compare.py DRIVER [--count N] [--seed S]
"""

import argparse
import os
import random
import shutil
import sys

import cases
import model
from library import OUT, Library

# The template area, seen from the folder of the driver; short, so that long links stay within a path.
ROOT = b"root"


def expected(data: bytes, level: int, root, out: bool, cwd: bytes):
    """Code, output and written bytes as the model has them."""
    checker = model.Checker(data, b"index", root, os.path.lexists)
    code = checker.run()
    messages = list(checker.messages)
    written = None
    if code == 1 and out:
        directories = sum(entry.type == 4 for entry in checker.entries)
        messages.append((4, b"Scanned %d entries, %d dirs\n" % (len(checker.entries), directories)))
        written = model.write(checker.entries, readable=False, said=messages)
        messages.append((4, b"wrote file %s/%s \n" % (cwd, OUT)))
    return code, shown(messages, level), written


def shown(messages: list[tuple[int, bytes]], level: int) -> bytes:
    return b"".join(text for at, text in messages if level >= at)


def place_templates(rng: random.Random, entries: list[model.Entry]) -> None:
    """Makes some of the template files that entries stand for."""
    for entry in entries:
        if entry.link is None or b"/" in entry.name or rng.random() < 0.3:
            continue
        folder = ROOT + b"/" + entry.link[4:]
        try:
            os.makedirs(folder, exist_ok=True)
            with open(folder + b"/" + entry.name, "xb"):
                pass
        except OSError:
            continue  # a name that no file can have: its link is lost


def compare(library: Library, rng: random.Random, data: bytes) -> str | None:
    """One index at every level, with and without a template area. None when all agree."""
    out = rng.random() < 0.5
    for level in (0, 1, 2, 4):
        for root in (None, ROOT):
            want = expected(data, level, root, out, os.fsencode(library.folder))
            got = library.check(data, level, root, out)
            if want != got:
                return f"level {level}, root {root!r}: model {want!r:.600}\nlibrary {got!r:.600}"
    return None


def compare_case(library: Library, seed: str, damaged: bool) -> str | None:
    """A directory written both ways, and its index, or what damage makes of it, checked."""
    rng = random.Random(seed)
    entries = cases.directory(rng)
    said: list[tuple[int, bytes]] = []
    data = model.write(entries, said=said)
    for level, mode, wanted in ((0, b"w+", data), (1, b"w", model.write(entries, readable=False))):
        if library.write(entries, level, mode) != (shown(said, level), wanted):
            return f"what is written differs (level {level}, mode {mode.decode()})"
    os.mkdir(ROOT)
    place_templates(rng, entries)
    fault = compare(library, rng, cases.damage(rng, data) if damaged else data)
    shutil.rmtree(ROOT)
    return fault


def main() -> int:
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("driver")
    arguments.add_argument("--count", type=int, default=3000)
    arguments.add_argument("--seed", type=int, default=1)
    given = arguments.parse_args()
    with Library(given.driver) as library:
        os.chdir(library.folder)
        for number in range(given.count):
            seed = f"{given.seed}-{number}"
            fault = compare_case(library, seed, damaged=number % 4 != 0)
            if fault:
                print(f"case {seed}: {fault}")
                return 1
    print(f"{given.count} directories compared: equal bytes, codes and messages")
    return 0


if __name__ == "__main__":
    sys.exit(main())
