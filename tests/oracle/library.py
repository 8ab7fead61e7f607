"""The built library, called through its C interface."""

import ctypes
import os
import pathlib
import tempfile

from model import Entry


class Dent(ctypes.Structure):
    pass


Dent._fields_ = [
    ("next", ctypes.POINTER(Dent)),
    ("type", ctypes.c_uint8),
    ("flags", ctypes.c_uint8),
    ("namelen", ctypes.c_uint16),
    ("reclen", ctypes.c_uint32),
    ("ino", ctypes.c_uint32),
    ("link", ctypes.c_uint32),
    ("name", ctypes.c_void_p),
    ("pool", ctypes.c_void_p),
]


class Library:
    """Calls the checker; what it prints on standard error is read from a file."""

    def __init__(self, path: str):
        self.lib = ctypes.CDLL(path)
        self.libc = ctypes.CDLL(None)
        self.libc.calloc.restype = ctypes.c_void_p
        self.libc.strdup.restype = ctypes.c_void_p
        self.libc.fopen.restype = ctypes.c_void_p
        self.libc.fclose.argtypes = [ctypes.c_void_p]
        self.lib.pool_add.restype = ctypes.c_void_p
        self.lib.emit_dirindex.argtypes = [ctypes.c_void_p]
        self.lib.fsck_in_core.argtypes = [
            ctypes.c_char_p, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_char_p, ctypes.c_char_p]
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qx-oracle-"))
        self.errors = open(self.folder / "stderr", "w+b", buffering=0)

    def global_of(self, kind, name):
        return kind.in_dll(self.lib, name)

    def write(self, entries: list[Entry], mode: bytes) -> bytes:
        """The index that the library writes through a stream opened in `mode`."""
        self.lib.clean_memory()
        head = self.global_of(ctypes.POINTER(Dent), "dlist")
        tail = self.global_of(ctypes.POINTER(Dent), "dlist_end")
        previous = None
        for entry in entries:
            address = self.libc.calloc(1, ctypes.sizeof(Dent))
            dent = ctypes.cast(address, ctypes.POINTER(Dent))
            dent.contents.type = entry.type
            dent.contents.namelen = len(entry.name)
            dent.contents.ino = entry.ino
            dent.contents.name = self.libc.strdup(entry.name)
            if entry.link is not None:
                dent.contents.pool = self.lib.pool_add(entry.link)
            if previous is None:
                ctypes.memmove(ctypes.addressof(head), ctypes.byref(dent), 8)
            else:
                previous.contents.next = dent
            previous = dent
        if previous is not None:
            ctypes.memmove(ctypes.addressof(tail), ctypes.byref(previous), 8)
        self.global_of(ctypes.c_uint, "tot").value = len(entries)
        self.global_of(ctypes.c_uint, "dtot").value = sum(entry.type == 4 for entry in entries)
        self.global_of(ctypes.c_uint, "emitted").value = 0
        self.lib.select_prime()
        self.lib.create_hash_table()
        path = self.folder / "written"
        stream = self.libc.fopen(os.fsencode(path), mode)
        result = self.lib.emit_dirindex(stream)
        self.libc.fclose(stream)
        self.lib.clean_memory()
        assert result == 0, result
        return path.read_bytes()

    def check(self, data: bytes, level: int, root: bytes | None, out: bool):
        """Result code, what was printed, and the bytes of the index that was written anew."""
        target = self.folder / "out"
        target.unlink(missing_ok=True)
        buffer = ctypes.create_string_buffer(data, len(data))
        self.lib.set_log(level, None, None)
        self.errors.seek(0)
        self.errors.truncate()
        saved = os.dup(2)
        os.dup2(self.errors.fileno(), 2)
        try:
            code = self.lib.fsck_in_core(
                b"index", buffer, len(data), os.fsencode(target) if out else None, root)
        finally:
            os.dup2(saved, 2)
            os.close(saved)
        self.lib.clean_memory()
        self.errors.seek(0)
        return code, self.errors.read(), target.read_bytes() if target.exists() else None
