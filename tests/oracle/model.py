"""A model of the directory index: its writer and its checker, written from the format's description
and independent of the library. Plain and slow on purpose."""

from __future__ import annotations

import dataclasses
import hashlib
import struct

SIGNATURE = 0x402DE119
HEADER = 20
HEAD = 16
BLOCK = 4096
EMPTY_DIGEST = hashlib.md5(b"").digest()[:4]
TYPE_TEXT = "0pc3d5b7-9l\0s\0w"


@dataclasses.dataclass(frozen=True)
class Entry:
    type: int
    ino: int
    name: bytes
    link: bytes | None = None


def name_hash(name: bytes) -> int:
    value = 0
    while name:
        width = 4 if len(name) >= 4 else 1
        word = int.from_bytes(name[:width], "little", signed=width == 1)
        value = ((value << 4) ^ (value >> 4) ^ word) & 0xFFFFFFFF
        name = name[width:]
    return value


def select_prime(count: int) -> int:
    return 1 if count <= 7 else 251 if count <= 255 else 1019


def padded(length: int) -> int:
    return (length + 4) & ~3


def type_text(code: int) -> str:
    if code > 14:
        return "?"
    return {11: "11", 13: "13"}.get(code, TYPE_TEXT[code])


def write(entries: list[Entry], readable: bool = True, said: list[tuple[int, bytes]] | None = None) -> bytes:
    """The bytes of an index; `readable` tells whether the writer can read its file back. Messages are
    added to `said` as (level, bytes)."""
    prime = select_prime(len(entries))
    buckets: list[list[Entry]] = [[] for _ in range(prime)]
    for entry in entries:
        buckets[name_hash(entry.name) % prime].append(entry)
    directories = sum(entry.type == 4 for entry in entries)
    out = bytearray(struct.pack("<IIIII", SIGNATURE, 0, directories, prime, 0) + bytes(4 * prime))
    placed: dict[bytes, int] = {}
    table = [0] * prime
    previous = 0
    written = 0
    for number, bucket in enumerate(buckets):
        for place, entry in enumerate(bucket):
            name_room = padded(len(entry.name))
            places_link = entry.link is not None and entry.link not in placed
            size = HEAD + name_room + (4 + padded(len(entry.link)) if places_link else 0)
            if size > BLOCK and said is not None:
                said.append((1, b"too long entry '%s'\n" % entry.name))
            position = len(out)
            if position // BLOCK != (position + size - 1) // BLOCK:
                position = (position + BLOCK - 1) // BLOCK * BLOCK
                out += bytes(position - len(out))
            if places_link:
                placed[entry.link] = position + HEAD + name_room
            last = place == len(bucket) - 1
            flags = (3 if written == len(entries) - 1 else 1) if last else 0
            link = 0 if entry.link is None else placed[entry.link]
            out += struct.pack("<BBHIII", entry.type, flags, len(entry.name), 0, entry.ino, link)
            out += entry.name.ljust(name_room, b"\0")
            if places_link:
                out += struct.pack("<I", len(entry.link)) + entry.link.ljust(padded(len(entry.link)), b"\0")
            if place == 0:
                table[number] = position
            written += 1
            struct.pack_into("<I", out, previous + 4, position - previous)
            previous = position
    if written:
        struct.pack_into("<I", out, previous + 4, len(out) - previous)
    struct.pack_into(f"<{prime}I", out, HEADER, *table)
    digest = hashlib.md5(bytes(out)).digest()[:4] if readable else EMPTY_DIGEST
    out[16:20] = digest
    return bytes(out)


class Fault(Exception):
    """A structural fault."""


class Checker:
    """Checks an index. `messages` collects (level, bytes)."""

    def __init__(self, data: bytes, name: bytes, root: bytes | None, exists):
        self.data = bytearray(data)
        self.name = name
        self.root = root
        self.exists = exists
        self.messages: list[tuple[int, bytes]] = []
        self.entries: list[Entry] = []
        self.lost = False

    def run(self) -> int:
        try:
            self.header()
            self.hash_walk()
            self.linear_walk()
        except Fault:
            return -2
        return 1 if self.lost else 0

    def fatal(self, text: bytes):
        self.messages.append((2, b"FATAL: " + text))
        raise Fault

    def warn(self, text: bytes):
        self.messages.append((4, b"WARNING: " + text))

    def u32(self, offset: int) -> int:
        return struct.unpack_from("<I", self.data, offset)[0]

    def text(self, offset: int) -> bytes | None:
        """The bytes up to a NUL; None when none follows in the file."""
        end = self.data.find(0, offset) if offset < len(self.data) else -1
        return None if end < 0 else bytes(self.data[offset:end])

    def header(self):
        head = bytes(self.data[:HEADER]).ljust(HEADER, b"\0")
        signature, self.start, _, self.prime, checksum = struct.unpack("<IIIII", head)
        if len(self.data) < HEADER or signature != SIGNATURE:
            self.fatal(b"wrong signature '%s' %08x\n" % (self.name, signature))
        self.data[16:20] = bytes(4)
        if hashlib.md5(bytes(self.data)).digest()[:4] != struct.pack("<I", checksum):
            self.warn(b"wrong checksum '%s'\n" % self.name)
        if self.prime == 0:
            self.fatal(b"zero hash prime '%s'\n" % self.name)
        if self.start >= len(self.data):
            self.fatal(b"start index is after EOF\n")
        if self.start != 0 and self.start < HEADER + 4 * self.prime:
            self.fatal(b"start points inside hash table\n")
        if self.start == 0:
            self.warn(b"empty dir\n")

    def hash_walk(self):
        self.eof = False
        slots = min(self.prime, (len(self.data) - HEADER) // 4)
        # The table is read before anything is marked.
        for position in [self.u32(HEADER + 4 * slot) for slot in range(slots)]:
            while position and self.hashed_record(position):
                position += self.u32(position + 4)

    def hashed_record(self, position: int) -> bool:
        """Tests a record that a bucket reaches. True when the bucket goes on."""
        size = len(self.data)
        if position < self.start or position >= size:
            self.fatal(b"hash points to nowhere\n")
        if position + HEAD > size:
            self.fatal(b"truncated dentry\n")
        _, flags, namelen, reclen, _, link = struct.unpack_from("<BBHIII", self.data, position)
        if flags & 0xFC:
            self.fatal(b"hash buckets cross\n")
        if self.eof:
            self.warn(b"entry after EOF\n")
        self.data[position + 1] |= 0x80
        if not 16 <= reclen <= 4096 or position + reclen > size:
            self.fatal(b"bad reclen\n")
        if namelen > 256 or position + HEAD + padded(namelen) > size:
            name = bytes(self.data[position + HEAD :]).split(b"\0")[0]
            self.fatal(b"bad namelen %d for %s\n" % (namelen, name))
        if link != 0:
            if link <= self.start:
                self.fatal(b"link %d points to hash\n" % link)
            if link > position + reclen or self.text(link + 4) is None:
                self.fatal(b"link points forward\n")
        if flags & 2:
            self.eof = True
        if flags & 1:
            return False
        if flags & 2:
            self.warn(b"EOF?\n")
        return True

    def linear_walk(self):
        self.eof = False
        position = self.start
        while position != len(self.data):
            position = self.listed_record(position)
        if not self.eof:
            self.warn(b"last dentry is not EOF\n")

    def listed_record(self, position: int) -> int:
        size = len(self.data)
        if position + HEAD > size:
            self.fatal(b"truncated...\n")
        kind, flags, _, reclen, ino, link_offset = struct.unpack_from("<BBHIII", self.data, position)
        name = self.text(position + HEAD)
        if reclen < 16 or position + reclen > size or name is None:
            self.fatal(b"truncated...\n")
        link = self.text(link_offset + 4) if link_offset else None
        if link_offset and link is None:
            self.fatal(b"link points forward\n")
        line = type_text(kind).encode() + b"\t" + name
        if link is not None:
            line += b" -> " + link + b"/" + name
        self.messages.append((4, line))
        self.keep(Entry(kind, ino, name, link))
        self.messages.append((4, b"\n"))
        if not flags & 0x80:
            self.warn(b"dentry is not in hash\n")
        if flags & 2:
            if position + reclen != size:
                self.warn(b"EOF is in the middle\n")
            self.eof = True
        return position + reclen

    def keep(self, entry: Entry):
        if entry.link is not None and self.root is not None:
            path = self.root + b"/" + entry.link[4:] + b"/" + entry.name
            if not self.exists(path):
                self.messages.append((2, b"Lost link in 'dirindex' %s\n" % path))
                self.lost = True
                return
        self.entries.append(entry)
