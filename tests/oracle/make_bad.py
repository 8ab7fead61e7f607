"""Makes the corpus of bad indexes: one file a defect, and a table of what a check must say of each.

    make_bad.py FOLDER

Files are the same at every run; the table's texts come from the model.
"""

import json
import pathlib
import struct
import sys

import model
from model import Entry

LINK = b"////os/lib"
PLAIN = [Entry(4, 24, b"bin"), Entry(8, 68, b"motd"), Entry(8, 113, b"libc.so.6", LINK)]
# The same with the linked entry first, so that the last record ends in its name.
PLAIN_LAST = PLAIN[::-1]
MANY = [Entry(8, 2 * i, b"name%d" % i) for i in range(20)]


def put(data: bytes, offset: int, form: str, *values) -> bytes:
    changed = bytearray(data)
    struct.pack_into(form, changed, offset, *values)
    return bytes(changed)


def records(data: bytes) -> list[int]:
    """Offsets of the records of a good index."""
    found = [struct.unpack_from("<I", data, 4)[0]]
    while found[-1] + struct.unpack_from("<I", data, found[-1] + 4)[0] < len(data):
        found.append(found[-1] + struct.unpack_from("<I", data, found[-1] + 4)[0])
    return found


def defects() -> dict[str, bytes]:
    good = model.write(PLAIN)
    many = model.write(MANY)
    first, second, last = records(good)
    linked = next(at for at in (first, second, last) if struct.unpack_from("<I", good, at + 12)[0])
    link = struct.unpack_from("<I", good, linked + 12)[0]
    used = next(slot for slot in range(251) if struct.unpack_from("<I", many, 20 + 4 * slot)[0])
    crossing = records(many)[1]
    plain_last = model.write(PLAIN_LAST)
    name = records(plain_last)[-1] + 16
    unreached = put(good, first + 1, "<B", 1)
    shared = model.write([Entry(8, 2, b"a", LINK), Entry(8, 4, b"b", LINK)])
    return {
        "good": good,
        "written-without-checksum": model.write(PLAIN, readable=False),
        "no-bytes-but-signature": good[:4],
        "shorter-than-header": good[:19],
        "wrong-signature": put(good, 0, "<B", 0x18),
        "wrong-checksum": put(good, 16, "<B", good[16] ^ 1),
        "zero-prime": put(good, 12, "<I", 0),
        "start-after-end": put(good, 4, "<I", len(good)),
        "start-in-hash-table": put(good, 4, "<I", 20),
        "empty-directory": model.write([]),
        "start-zero": put(good, 4, "<I", 0),
        "bucket-before-start": put(good, 20, "<I", 4),
        "bucket-after-end": put(good, 20, "<I", len(good)),
        "bucket-at-last-bytes": put(good, 20, "<I", len(good) - 8),
        "buckets-cross": put(many, 20 + 4 * used, "<I", crossing),
        "unknown-flag": put(good, first + 1, "<B", 4),
        "reclen-15": put(good, first + 4, "<I", 15),
        "reclen-4097": put(good, first + 4, "<I", 4097),
        "reclen-beyond-end": put(good, last + 4, "<I", 4096),
        "namelen-257": put(good, first + 2, "<H", 257),
        "namelen-beyond-end": put(good, last + 2, "<H", 200),
        "link-to-hash": put(good, linked + 12, "<I", 8),
        "link-forward": put(good, linked + 12, "<I", len(good) + 4),
        "link-at-start": put(good, linked + 12, "<I", first),
        "link-without-end": good[: link + 4] + b"x" * (len(good) - link - 4),
        "link-length-cut": put(good, linked + 12, "<I", len(good) - 2),
        "link-of-three-bytes": put(good, link + 4, "<4s", b"///\0"),
        "link-length-wrong": put(good, link, "<I", 0xFFFFFFFF),
        "eof-flag-before-last": put(good, first + 1, "<B", 2),
        "no-eof-flag": put(good, last + 1, "<B", 1),
        "not-in-hash": put(good, 20, "<I", 0),
        "bytes-after-last-record": good + bytes(4),
        "last-record-cut": good[:-1],
        "name-without-end": plain_last[:name] + b"x" * (len(plain_last) - name),
        "namelen-256": model.write([Entry(8, 2, b"n" * 256)]),
        "namelen-short": put(good, last + 2, "<H", 1),
        "unreached-reclen-15": put(unreached, second + 4, "<I", 15),
        "unreached-reclen-beyond-end": put(unreached, last + 4, "<I", 1 << 20),
        "unreached-link-beyond-end": put(unreached, linked + 12, "<I", 1 << 20),
        "table-beyond-end": put(put(good, 4, "<I", 0), 12, "<I", 0xFFFFFFFF),
        "table-missing": put(good, 4, "<I", 0)[:20],
        "chain-never-ends": put(good, last + 1, "<B", 2),
        "lost-shared-link": shared,
        "lost-link": good,
        "long-chain-truncated": many[: crossing + 8],
    }


def said(data: bytes, name: str, level: int) -> tuple[int, str]:
    """Result and messages of a check; a template area is given for lost links, and nothing is in it."""
    checker = model.Checker(data, b"index", b"/nonexistent" if name.startswith("lost-") else None, lambda path: False)
    code = checker.run()
    return code, b"".join(text for at, text in checker.messages if level >= at).decode("ascii")


def main() -> int:
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    lines = ["# Made by tests/oracle/make_bad.py: what a check must say of each file at which debug level."]
    for name, data in defects().items():
        (folder / f"{name}.idx").write_bytes(data)
        code, _ = said(data, name, 0)
        lines += ["", f"[{name}]", f"code = {code}"]
        lines += [f"level{level} = {json.dumps(said(data, name, level)[1])}" for level in (2, 4)]
    (folder / "expected.toml").write_text("\n".join(lines) + "\n", encoding="ascii")
    return 0


if __name__ == "__main__":
    sys.exit(main())
