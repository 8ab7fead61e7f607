"""Seeded directories and damages to their indexes."""

import random

from model import Entry


def directory(rng: random.Random) -> list[Entry]:
    """A directory of up to some hundred entries."""
    count = rng.choice([0, 1, 2, 7, 8, rng.randrange(40), rng.randrange(255, 258), rng.randrange(400)])
    links = [b"////" + bytes(rng.choices(b"abc/", k=rng.randrange(30))) for _ in range(rng.randrange(1, 5))]
    names: set[bytes] = set()
    while len(names) < count:
        length = rng.choice([1, 2, 3, 4, rng.randrange(1, 20), rng.randrange(1, 256)])
        names.add(bytes(rng.choice([rng.randrange(1, 256), rng.randrange(97, 123)]) for _ in range(length)))
    entries = []
    for name in sorted(names, key=lambda _: rng.random()):
        linked = rng.random() < 0.6
        kind = rng.choice([4, 8, 8, 10, rng.randrange(256)])
        ino = rng.choice([rng.randrange(1 << 12), rng.randrange(1 << 32)])
        entries.append(Entry(kind, ino, name, rng.choice(links) if linked else None))
    return entries


def damage(rng: random.Random, data: bytes) -> bytes:
    """Changes an index in one to three places."""
    changed = bytearray(data)
    for _ in range(rng.choice([1, 1, 1, 2, 3])):
        kind = rng.randrange(6)
        if not changed:
            break
        if kind == 0:
            changed[rng.randrange(len(changed))] ^= 1 << rng.randrange(8)
        elif kind == 1:
            del changed[rng.randrange(len(changed)) :]
        elif kind == 2:
            place = rng.randrange(0, len(changed), 4)
            value = rng.choice([0, 1, 15, 16, 4096, 4097, len(changed), len(changed) - 16, 0xFFFFFFFF, rng.randrange(len(changed) + 8)])
            changed[place : place + 4] = value.to_bytes(4, "little")[: len(changed) - place]
        elif kind == 3:
            place = rng.choice([0, 4, 8, 12, 16, 20]) + rng.randrange(4)
            if place < len(changed):
                changed[place] = rng.randrange(256)
        elif kind == 4:
            changed += bytes(rng.randrange(40))
        else:
            a, b = (rng.randrange(0, len(changed), 4) for _ in range(2))
            changed[a : a + 4], changed[b : b + 4] = changed[b : b + 4], changed[a : a + 4]
    return bytes(changed)
