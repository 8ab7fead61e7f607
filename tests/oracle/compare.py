"""Compares the library with the model over seeded directories and damages.

    compare.py LIBRARY [--count N] [--seed S]
"""

import argparse
import os
import random
import shutil
import sys

import cases
import model
from library import Library


def expected(data: bytes, level: int, root, out: bool, cwd: bytes, target: bytes):
    """Code, output and written bytes as the model has them."""
    checker = model.Checker(data, b"index", root, os.path.lexists)
    code = checker.run()
    messages = list(checker.messages)
    written = None
    if code == 1 and out:
        directories = sum(entry.type == 4 for entry in checker.entries)
        messages.append((4, b"Scanned %d entries, %d dirs\n" % (len(checker.entries), directories)))
        written = model.write(checker.entries, readable=False)
        messages.append((4, b"wrote file %s/%s \n" % (cwd, target)))
    return code, b"".join(text for at, text in messages if level >= at), written


def place_templates(rng: random.Random, root: bytes, entries: list[model.Entry]) -> None:
    """Makes some of the template files that entries stand for."""
    for entry in entries:
        if entry.link is None or rng.random() < 0.3:
            continue
        folder = root + b"/" + entry.link[4:]
        try:
            os.makedirs(folder, exist_ok=True)
            with open(folder + b"/" + entry.name, "xb"):
                pass
        except OSError:
            continue  # a name that no file can have: its link is lost


def compare(library: Library, rng: random.Random, data: bytes) -> str | None:
    """One index at every level, with and without a template area. None when all agree."""
    out = rng.random() < 0.5
    target = os.fsencode(library.folder / "out")
    for level in (0, 2, 4):
        for root in (None, os.fsencode(library.folder / "root")):
            want = expected(data, level, root, out, os.fsencode(os.getcwd()), target)
            got = library.check(data, level, root, out)
            if want != got:
                return f"level {level}, root {root!r}: model {want!r:.600}\nlibrary {got!r:.600}"
    return None


def main() -> int:
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("library")
    arguments.add_argument("--count", type=int, default=3000)
    arguments.add_argument("--seed", type=int, default=1)
    given = arguments.parse_args()
    library = Library(given.library)
    root = os.fsencode(library.folder / "root")
    try:
        for number in range(given.count):
            seed = f"{given.seed}-{number}"
            rng = random.Random(seed)
            entries = cases.directory(rng)
            data = model.write(entries)
            for mode, bytes_wanted in ((b"w+", data), (b"w", model.write(entries, readable=False))):
                if library.write(entries, mode) != bytes_wanted:
                    print(f"case {seed}: written bytes differ (mode {mode.decode()})")
                    return 1
            index = data if number % 4 == 0 else cases.damage(rng, data)
            os.mkdir(root)
            place_templates(rng, root, entries)
            fault = compare(library, rng, index) if index else None
            shutil.rmtree(root)
            if fault:
                print(f"case {seed}: {fault}")
                return 1
    finally:
        shutil.rmtree(library.folder, ignore_errors=True)
    print(f"{given.count} directories compared: equal bytes, codes and messages")
    return 0


if __name__ == "__main__":
    sys.exit(main())
