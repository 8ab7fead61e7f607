"""The corpus of bad indexes, replayed against the library.

    bad_test.py LIBRARY FOLDER
"""

import ast
import pathlib
import subprocess
import sys
import tempfile

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


def main() -> int:
    library, folder = Library(sys.argv[1]), pathlib.Path(sys.argv[2])
    faults = 0
    heard = ""
    for line in (folder / "expected.txt").read_text(encoding="ascii").splitlines()[1:]:
        name, code, text = line.split(" ", 2)
        data = (folder / f"{name}.idx").read_bytes()
        root = b"/nonexistent" if name == "lost-link" else None
        got_code, got_text, _ = library.check(data, 4, root, False)
        heard += got_text.decode(errors="replace")
        silent = library.check(data, 1, root, False)
        if (got_code, got_text) != (int(code), ast.literal_eval(text)) or silent[:2] != (int(code), b""):
            print(f"{name}: expected {code} {text}, got {got_code} {got_text!r}, quietly {silent!r}")
            faults += 1
    for message in MESSAGES:
        if message not in heard:
            print(f"no file provokes '{message}'")
            faults += 1
    with tempfile.TemporaryDirectory() as again:
        subprocess.run([sys.executable, pathlib.Path(__file__).with_name("make_bad.py"), again], check=True)
        for file in pathlib.Path(again).iterdir():
            if file.read_bytes() != (folder / file.name).read_bytes():
                print(f"{file.name} is not what make_bad.py makes")
                faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
