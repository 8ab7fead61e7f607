"""Seeded directories and damages to their indexes."""

import hashlib
import random
import struct

from model import Entry

# Fields of a record's head: offset, width, and values at the edges of what a check takes.
FIELDS = {
    "type": (0, 1, [0, 4, 8, 10, 14, 15, 255]),
    "flags": (1, 1, [0, 1, 2, 3, 4, 0x80, 0x83]),
    "namelen": (2, 2, [0, 1, 3, 4, 255, 256, 257, 4080, 0xFFFF]),
    "reclen": (4, 4, [0, 1, 15, 16, 17, 20, 4092, 4096, 4097, 0x80000000, 0xFFFFFFFF]),
    "ino": (8, 4, [0, 1, 0xFFFFFFFF]),
    "link": (12, 4, [0, 1, 19, 20, 24, 0x7FFFFFFF, 0xFFFFFFFC, 0xFFFFFFFF]),
}


def name(rng: random.Random) -> bytes:
    length = rng.choice([1, 2, 3, 4, rng.randrange(1, 20), rng.randrange(1, 256), rng.randrange(250, 257)])
    return bytes(rng.choice([rng.randrange(1, 256), rng.randrange(97, 123)]) for _ in range(length))


def long_link(length: int) -> bytes:
    """A link string of folders that a file system takes."""
    return (b"////" + (b"d" * 240 + b"/") * 20)[:length].rstrip(b"/")


def link_string(rng: random.Random) -> bytes:
    if rng.random() < 0.1:
        return long_link(rng.randrange(5, 4090))
    return b"////" + bytes(rng.choices(b"abc/", k=rng.randrange(30)))


def crowded(rng: random.Random) -> list[Entry]:
    """Entries that share a link string with which some of them exceed a block, and some do not."""
    link = long_link(rng.randrange(3780, 4070))
    lengths = [rng.randrange(1, 12), *(rng.randrange(1, 251) for _ in range(rng.randrange(6)))]
    return [Entry(8, 1, b"%c" % (97 + i) * length, link) for i, length in enumerate(lengths)]


def directory(rng: random.Random) -> list[Entry]:
    """A directory of up to some hundred entries, more often a small one."""
    if rng.random() < 0.1:
        return crowded(rng)
    count = rng.choice([0, 1, 2, 7, 8, rng.randrange(8), rng.randrange(40), rng.randrange(255, 258), rng.randrange(400)])
    links = [link_string(rng) for _ in range(rng.choice([1, 2, 4, 20]))]
    names: set[bytes] = set()
    while len(names) < count:
        names.add(name(rng))
    entries = []
    for each in sorted(names, key=lambda _: rng.random()):
        kind = rng.choice([4, 8, 8, 10, rng.randrange(256)])
        ino = rng.choice([rng.randrange(1 << 12), rng.randrange(1 << 32)])
        entries.append(Entry(kind, ino, each, rng.choice(links) if rng.random() < 0.6 else None))
    return entries


def records(data: bytes) -> list[int]:
    """Offsets of the records that can still be followed."""
    found = []
    place = struct.unpack_from("<I", data, 4)[0] if len(data) >= 20 else 0
    while place and place + 16 <= len(data):
        found.append(place)
        step = struct.unpack_from("<I", data, place + 4)[0]
        place = place + step if step >= 16 else 0
    return found


def near(rng: random.Random, data: bytearray) -> int:
    """A place in the file, or just beside a record, or anything."""
    edges = [len(data), *records(data)]
    return max(0, rng.choice([rng.choice(edges) + rng.randrange(-17, 18), rng.randrange(len(data) + 8)]))


def put(data: bytearray, place: int, width: int, value: int) -> None:
    end = min(place + width, len(data))
    data[place:end] = (value & 0xFFFFFFFF).to_bytes(4, "little")[:end - place]


def flip_bit(rng: random.Random, data: bytearray) -> None:
    data[rng.randrange(len(data))] ^= 1 << rng.randrange(8)


def truncate(rng: random.Random, data: bytearray) -> None:
    del data[min(near(rng, data), len(data)):]


def append(rng: random.Random, data: bytearray) -> None:
    data += rng.choice([bytes(rng.randrange(40)), rng.randbytes(rng.randrange(40))])


def edit_header(rng: random.Random, data: bytearray) -> None:
    slots = len(data) // 4
    value = rng.choice([0, 1, 2, 251, 1019, slots, slots - 5, 1 << 30, near(rng, data)])
    put(data, rng.choice([0, 4, 4, 8, 12, 12, 16]), 4, value)


def edit_slot(rng: random.Random, data: bytearray) -> None:
    used = [at for at in range(20, min(len(data), 20 + 4 * 1019) - 3, 4) if data[at:at + 4] != bytes(4)]
    if used:
        other = rng.choice(used)
        value = rng.choice([0, int.from_bytes(data[other:other + 4], "little"), near(rng, data), 0xFFFFFFFF])
        put(data, rng.choice(used), 4, value)


def edit_record(rng: random.Random, data: bytearray) -> None:
    found = records(data)
    if found:
        record = rng.choice([rng.choice(found), found[-1]])
        offset, width, edges = rng.choice(list(FIELDS.values()))
        before = int.from_bytes(data[record + offset:record + offset + width], "little")
        value = rng.choice([*edges, before ^ 1 << rng.randrange(8), before + rng.randrange(-8, 9), near(rng, data)])
        put(data, record + offset, width, value)


def merge_records(rng: random.Random, data: bytearray) -> None:
    """Makes a record reach over its follower, which some bucket may still point to."""
    found = records(data)
    if len(found) > 1:
        which = rng.randrange(len(found) - 1)
        end = rng.choice([*found[which + 2:which + 4], len(data)])
        put(data, found[which] + 4, 4, end - found[which])


def swap_heads(rng: random.Random, data: bytearray) -> None:
    found = records(data)
    if len(found) > 1:
        a, b = rng.sample(found, 2)
        data[a:a + 16], data[b:b + 16] = data[b:b + 16], data[a:a + 16]


def fill_padding(rng: random.Random, data: bytearray) -> None:
    """Leaves no NUL behind some place."""
    place = min(near(rng, data), len(data))
    end = min(len(data), place + rng.randrange(1, 24))
    data[place:end] = b"x" * (end - place)


DAMAGES = [flip_bit, truncate, append, edit_header, edit_slot, edit_record, edit_record, edit_record,
           merge_records, swap_heads, fill_padding]


def damage(rng: random.Random, data: bytes) -> bytes:
    """Changes an index in one to four places; now and then its checksum is made to match."""
    changed = bytearray(data)
    for _ in range(rng.choice([1, 1, 1, 2, 3, 4])):
        if changed:
            rng.choice(DAMAGES)(rng, changed)
    if len(changed) >= 20 and rng.random() < 0.5:
        changed[16:20] = bytes(4)
        changed[16:20] = hashlib.md5(changed).digest()[:4]
    return bytes(changed)
