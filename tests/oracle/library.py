"""The library, reached through the program index_driver (see there for the requests)."""

import os
import pathlib
import shutil
import struct
import subprocess
import tempfile

from model import Entry

# Where checks write an index anew, in the folder of the driver.
OUT = b"out"


def number(value: int) -> bytes:
    return struct.pack("=I", value & 0xFFFFFFFF)


def text(value: bytes) -> bytes:
    return number(len(value)) + value


def optional(value: bytes | None) -> bytes:
    return number(0) if value is None else number(1) + text(value)


class Library:
    """A running driver with a folder of its own; both are gone when the block is left."""

    def __init__(self, driver: str):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qx-oracle-"))
        self.driver = subprocess.Popen(
            [os.path.abspath(driver)], cwd=self.folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE
        )

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.stdin.close()
        self.driver.stdout.close()
        status = self.driver.wait()
        shutil.rmtree(self.folder, ignore_errors=True)
        if status != 0:  # sanitizers report leaks when the driver ends
            raise RuntimeError(f"the driver ended with status {status}")

    def write(self, entries: list[Entry], level: int, mode: bytes) -> tuple[bytes, bytes]:
        """What was said and the index that was written through a stream opened in `mode`."""
        records = b"".join(
            number(entry.type) + number(entry.ino) + text(entry.name) + optional(entry.link) for entry in entries
        )
        result, said, written = self._ask(b"W" + number(level) + text(mode) + number(len(entries)) + records)
        if result != 0:
            raise RuntimeError(f"emit_dirindex gave {result}: {said!r}")
        return said, written

    def check(self, data: bytes, level: int, root: bytes | None, out: bool):
        """Result code, what was said, and the bytes of the index that was written anew."""
        target = self.folder / os.fsdecode(OUT)
        target.unlink(missing_ok=True)
        out_path = optional(OUT if out else None)
        result, said, _ = self._ask(b"C" + number(level) + text(data) + optional(root) + out_path)
        return result, said, target.read_bytes() if target.exists() else None

    def _ask(self, request: bytes) -> tuple[int, bytes, bytes]:
        self.driver.stdin.write(request)
        self.driver.stdin.flush()
        result = struct.unpack("=i", self._read(4))[0]
        said = self._read(struct.unpack("=I", self._read(4))[0])
        return result, said, self._read(struct.unpack("=I", self._read(4))[0])

    def _read(self, size: int) -> bytes:
        piece = self.driver.stdout.read(size)
        if len(piece) != size:
            raise RuntimeError(f"the driver died with status {self.driver.wait()}")
        return piece
