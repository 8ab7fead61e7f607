"""The corpus of bad indexes, replayed against the library.

    bad_test.py DRIVER FOLDER
"""

import pathlib
import subprocess
import sys
import tempfile
import tomllib

from library import Library

# Everything that a check can say of an index by itself.
MESSAGES = [
    "FATAL: wrong signature", "FATAL: zero hash prime", "FATAL: start index is after EOF",
    "FATAL: start points inside hash table", "FATAL: hash points to nowhere",
    "FATAL: truncated dentry", "FATAL: hash buckets cross", "FATAL: bad reclen",
    "FATAL: bad namelen", "FATAL: link", "points to hash", "FATAL: link points forward",
    "FATAL: truncated...", "WARNING: wrong checksum", "WARNING: empty dir",
    "WARNING: entry after EOF", "WARNING: EOF?", "WARNING: dentry is not in hash",
    "WARNING: EOF is in the middle", "WARNING: last dentry is not EOF", "Lost link in 'dirindex'",
]


def replay(library: Library, data: bytes, name: str, want: dict) -> list[str]:
    """What a check said otherwise than the table has it, at the messages' levels and just below."""
    root = b"/nonexistent" if name.startswith("lost-") else None
    faults = []
    for level, text in ((0, ""), (1, ""), (2, want["level2"]), (3, want["level2"]), (4, want["level4"])):
        got = library.check(data, level, root, False)
        if got != (want["code"], text.encode(), None):
            faults.append(f"{name} at level {level}: expected {want['code']} {text!r}, got {got!r}")
    return faults


def made_otherwise(folder: pathlib.Path) -> list[str]:
    """Files that the generator does not make, or makes of other bytes."""
    with tempfile.TemporaryDirectory() as again:
        subprocess.run([sys.executable, pathlib.Path(__file__).with_name("make_bad.py"), again], check=True)
        made = {file.name: file.read_bytes() for file in pathlib.Path(again).iterdir()}
    kept = {file.name: file.read_bytes() for file in folder.iterdir()}
    names = sorted(made.keys() | kept.keys())
    return [f"{name} is not what make_bad.py makes" for name in names if made.get(name) != kept.get(name)]


def main() -> int:
    folder = pathlib.Path(sys.argv[2])
    expected = tomllib.loads((folder / "expected.toml").read_text(encoding="ascii"))
    heard = "".join(want["level4"] for want in expected.values())
    faults = [f"no file provokes '{message}'" for message in MESSAGES if message not in heard]
    with Library(sys.argv[1]) as library:
        for name, want in expected.items():
            faults += replay(library, (folder / f"{name}.idx").read_bytes(), name, want)
    faults += made_otherwise(folder)
    print("\n".join(faults) or f"{len(expected)} indexes answered as the table has it")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
