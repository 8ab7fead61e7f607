"""docs/dirindex-format.md tells the truth: its numbers are computed again, its bytes built again."""

import os
import pathlib
import re
import subprocess
import unittest

DOCUMENT = (pathlib.Path(__file__).parents[2] / "docs/dirindex-format.md").read_text(encoding="utf-8")
QXFSUTIL = pathlib.Path(os.environ["QX_BIN"]) / "qxfsutil"


def name_hash(name: bytes) -> int:
    value = 0
    while name:
        width = 4 if len(name) >= 4 else 1
        word = int.from_bytes(name[:width], "little", signed=width == 1)
        value = ((value << 4) ^ (value >> 4) ^ word) & 0xFFFFFFFF
        name = name[width:]
    return value


class FormatDocument(unittest.TestCase):
    def test_the_table_of_hashes_holds(self):
        rows = re.findall(r"^\| \S+ \| ((?:[0-9a-f]{2} ?)+) \| 0x([0-9a-f]{8}) \| (\d+) \| (\d+) \|$", DOCUMENT, re.M)
        self.assertEqual(4, len(rows))
        for digits, value, small, large in rows:
            computed = name_hash(bytes.fromhex(digits))
            self.assertEqual((int(value, 16), int(small), int(large)), (computed, computed % 251, computed % 1019), digits)

    def test_the_text_builds_the_bytes(self):
        text = re.search(r"```text\n(.*?)```", DOCUMENT, re.S).group(1)
        dump = re.search(r"```hex\n(.*?)```", DOCUMENT, re.S).group(1)
        expected = b"".join(bytes.fromhex(line.split(":")[1]) for line in dump.splitlines())
        built = subprocess.run([QXFSUTIL, "build", "-"], input=text.encode(), capture_output=True, check=True).stdout
        self.assertEqual(expected, built)


if __name__ == "__main__":
    unittest.main()
