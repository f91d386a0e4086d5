#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: fuzz/seeds.py

Writes the seeds of the corpus, fuzz/corpus/TARGET/seed-*: small inputs that each test one thing. Inputs in which the
fuzzers found a bug are in the same folders as found-*; the script does not change them.
"""
import pathlib
import struct
import zlib

CORPUS = pathlib.Path(__file__).parent / "corpus"


def write(target, seeds):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("seed-*"):
        old.unlink()
    for name, content in seeds.items():
        (folder / f"seed-{name}").write_bytes(content)


# --- register files -----------------------------------------------------------------------------------------------


def head(major, number, width=0):
    needed = 0 if number < 24 else 1 if number < 1 << 8 else 2 if number < 1 << 16 else 4 if number < 1 << 32 else 8
    width = max(width, needed)
    if width == 0:
        return bytes([major << 5 | number])
    return bytes([major << 5 | {1: 24, 2: 25, 4: 26, 8: 27}[width]]) + number.to_bytes(width, "big")


def text(name):
    name = name if isinstance(name, bytes) else name.encode()
    return head(3, len(name)) + name


def item(value):
    if isinstance(value, dict):
        return head(5, len(value)) + b"".join(text(name) + item(value[name]) for name in sorted(value))
    return head(2, len(value)) + value


def wrap(payload, version=1, checksum=None):
    checksum = zlib.crc32(payload) if checksum is None else checksum
    return (
        b"\xd9\xd9\xf7" + head(4, 3) + head(0, version) + head(0, checksum) + head(6, 24) + head(2, len(payload)) + payload
    )


def deep(levels):
    return b"\xa1\x61d" * levels + b"\xa0"


def int32(value):
    return struct.pack("<i", value)


def string(value):
    return int32(len(value)) + value


TREE = {
    "editor": {"flags": b"LB" + int32(2) + b"\1\0", "tab width": b"I" + int32(4)},
    "empty group": {},
    "name": b"S" + string(b"Ada"),
    "never written": b"",
    "a name that is longer than fits in a node": b"S" + string(b"v" * 300),
    "\u017e\u2603\U0001f600": b"N" + struct.pack("<d", 1.5),
}

register_files = {
    "empty": wrap(b"\xa0"),
    "tree": wrap(item(TREE)),
    "trailing-bytes": wrap(item({"x": b"1"})) + b"more",
    "truncated": wrap(item(TREE))[:-3],
    "checksum": wrap(item(TREE), checksum=1),
    "version": wrap(item(TREE), version=2),
    "deep": wrap(deep(300)),
    "wide": wrap(item({f"{i}": b"" for i in range(300)})),
    "unordered": wrap(b"\xa2" + text("b") + b"\x40" + text("a") + b"\x40"),
    "duplicate": wrap(b"\xa2" + text("a") + b"\x40" + text("a") + b"\x40"),
    "duplicate-apart": wrap(b"\xa3" + text("b") + b"\x40" + text("a") + b"\x40" + text("b") + b"\xa0"),
    "dots": wrap(item({"..": b"", ".": {}})),
    "slash": wrap(item({"a/b": b""})),
    "empty-name": wrap(item({"": b""})),
    "name-of-bytes": wrap(b"\xa1" + item(b"a") + b"\x40"),
    "not-utf8": wrap(item({}) and b"\xa1" + text(b"\xff\xc3") + b"\x40"),
    "surrogate": wrap(b"\xa1" + text(b"\xed\xa0\x80") + b"\x40"),
    "byte-order-mark": wrap(item({"\ufeffa": b"", "a\0b": b"x"})),
    "long-heads": wrap(head(5, 1, 8) + head(3, 1, 4) + b"a" + head(2, 2, 2) + b"xy"),
    "indefinite": wrap(b"\xbf" + text("a") + b"\x40\xff"),
    "large-count": wrap(head(5, 1 << 40) + text("a") + b"\x40"),
    "large-length": wrap(b"\xa1" + text("a") + head(2, 1 << 62)),
    "two-items": wrap(b"\xa0\xa0"),
    "number-as-file": wrap(b"\xa1" + text("a") + b"\x05"),
    "file-as-root": wrap(b"\x41x"),
    "not-a-register-file": b"[General]\nname=Ada\n",
}

# --- records ------------------------------------------------------------------------------------------------------

records = {
    "empty": b"",
    "string": b"S" + string(b"text"),
    "string-empty": b"S" + string(b""),
    "string-truncated": b"S" + int32(9) + b"text",
    "string-negative": b"S" + int32(-1) + b"text",
    "string-no-length": b"S\1\0",
    "number": b"N" + struct.pack("<d", -0.0),
    "number-nan": b"N" + bytes.fromhex("010000000000f07f"),
    "number-truncated": b"N\1\2\3",
    "integer": b"I" + int32(-2),
    "integer-truncated": b"I\1\2",
    "integer-trailing-bytes": b"I" + int32(7) + b"more",
    "boolean": b"B\2",
    "boolean-truncated": b"B",
    "strings": b"LS" + int32(3) + string(b"a") + string(b"") + string(b"\xff\0c"),
    "strings-truncated": b"LS" + int32(3) + string(b"a") + int32(100) + b"b",
    "strings-large-count": b"LS" + int32(1000),
    "numbers": b"LN" + int32(2) + struct.pack("<dd", 1, float("inf")),
    "numbers-truncated": b"LN" + int32(2) + struct.pack("<d", 1) + b"\1\2\3",
    "integers": b"LI" + int32(3) + int32(1) + int32(-1) + int32(1 << 30),
    "integers-truncated": b"LI" + int32(3) + int32(1) + b"\1\1",
    "integers-negative": b"LI" + int32(-5) + int32(1),
    "booleans": b"LB" + int32(33) + b"\0" * 32 + b"\1",
    "booleans-large-count": b"LB" + int32(1999) + b"\1",
    "list-of-lists": b"LL" + int32(1),
    "list-without-tag": b"L",
    "high-tag": b"\xd3\xff",
    "list-of-high-tag": b"L\xff",
}

# --- names --------------------------------------------------------------------------------------------------------

names = {
    "plain": b"a\nb\na/b",
    "canary": b"canary\ncanary/x\ncanary",
    "scopes": b"/user/x\n/temp/\n/global/a",
    "temp-offset": b"temp/ab/name\n/temp/a\ntemp/x/y",
    "slashes": b"a//b\n///\n/",
    "trailing": b"a/\na/b//\na",
    "empty": b"",
    "empty-twice": b"\n\n",
    "dots": b".\n..\na/../b",
    "up": b"../user/x\n../../outside\n./x",
    "dots-around": b"a/.\n.a\n..a",
    "byte-order-mark": b"\xef\xbb\xbfa\n\xef\xbb\xbf\na/\xef\xbb\xbfb",
    "not-utf8": b"\xff\n\xc3\n\xed\xa0\x80",
    "replaced": "\ufffd".encode() + b"\n\xff\na/\xff/b",
    "nul": b"a\0b\na\n\0",
    "unicode": "\u017e\n\u2603/\U0001f600\n\uffff".encode(),
    "long": b"n" * 33 + b"\n" + b"m" * 300 + b"\n" + b"a/" * 100,
    "inside-out": b"a/b/c\na/b\na",
    "below-a-property": b"a\na/b\na/b/c",
}

# --- operations: each a byte, see `play`, with arguments -----------------------------------------------------------

WRITE, READ, ADD_GROUP, ADD_PROPERTY, DELETE, ASK, LIST, TYPE, RAW = 0, 5, 7, 8, 9, 10, 11, 12, 13
HOLD, READ_HELD, ADD, REMOVE, MARK, NOTIFY, SAVE, LOAD, ANEW, DAMAGED = 14, 15, 16, 17, 18, 19, 20, 21, 22, 23
STRING, NUMBER, INTEGER, BOOLEAN, STRINGS, NUMBERS, INTEGERS, BOOLEANS = range(8)
GLOBAL, USER, TEMPORARY, BAD = 0, 1, 2, 255
A, B, AX, AY, AB, ABX, DEEP, C, NONE, SLASH, A_SLASH = range(11)


def kind(operation, which):
    return operation + 24 * which


def integer(name, value, scope=USER, sender=0):
    return bytes([kind(WRITE, INTEGER), name, scope, sender]) + int32(value)


def read(name, which=INTEGER):
    return bytes([kind(READ, which), name])


def text_value(name, value, scope=USER):
    return bytes([kind(WRITE, STRING), name, scope, 0, len(value)]) + value + b"\0"


def a_list(which, name, elements):
    return bytes([kind(WRITE, which), name, USER, 0, len(elements)]) + b"".join(elements)


every_kind = (
    text_value(A, b"text")
    + bytes([kind(WRITE, NUMBER), B, USER, 0])
    + struct.pack("<d", 1.5)
    + integer(AX + 1, 7, TEMPORARY)
    + bytes([kind(WRITE, BOOLEAN), C, GLOBAL, 0, 1])
    + a_list(STRINGS, DEEP, [b"\3abc\0", b"\0\0"])
    + a_list(NUMBERS, 14, [struct.pack("<d", 2.5)])
    + a_list(INTEGERS, 15, [int32(1), int32(-1)])
    + a_list(BOOLEANS, 16, [b"\1", b"\0", b"\1"])
    + b"".join(read(name, which) for which in range(8) for name in (A, B, C, DEEP))
)

operations = {
    "every-kind": every_kind,
    "save-and-load": integer(AX, 1) + bytes([SAVE]) + integer(AX, 2) + integer(B, 3) + bytes([LOAD]) + read(AX) + read(B),
    "new-register": text_value(ABX, b"v" * 60) + bytes([SAVE, DELETE, A, USER, ANEW, LOAD, ASK, ABX, USER]),
    "damaged": integer(AX, 1) + bytes([SAVE, DAMAGED, 0, 3, 0, 1, DAMAGED, 0, 9, 0, 0, DAMAGED, 0, 20, 5, 1, LOAD]) + read(AX),
    "save-without-scope": bytes([DELETE, NONE, USER, SAVE, LOAD, LIST, NONE, USER]) + integer(A, 1),
    "scope-as-property": bytes([DELETE, NONE, USER]) + integer(NONE, 1) + bytes([SAVE, ADD_GROUP, A, USER, LOAD]) + integer(A, 2),
    "precedence": integer(A, 1, TEMPORARY) + read(A) + integer(A, 2, GLOBAL) + read(A) + integer(A, 3) + read(A),
    "in-the-way": integer(A, 1) + integer(AX, 2) + bytes([ADD_GROUP, AB, USER, ADD_PROPERTY, AX, USER]) + integer(AB, 1, BAD),
    "handles": integer(AX, 5) + bytes([HOLD, AX, USER, READ_HELD, 2]) + integer(AX, 6) + bytes([READ_HELD, 9, DELETE, A, USER, READ_HELD, 9])
    + integer(AX, 7) + bytes([READ_HELD, 9, HOLD, AX, USER, SAVE, LOAD, READ_HELD, 9]),
    "stale-handle": integer(AX, 5) + bytes([HOLD, AX, USER, DELETE, A, USER]) + integer(AX, 7) + bytes([READ_HELD, 9]),
    "raw": integer(AX, 1) + bytes([RAW, AX, USER, 9]) + b"LI\2\0\0\0\1\0\0" + read(AX, INTEGERS) + bytes([TYPE, AX, RAW, AY, GLOBAL, 1]) + b"S",
    "listeners": bytes([ADD, A, 0, ADD, AX, 1, ADD, AX, 0, ADD, NONE, 0]) + integer(AX, 1) + integer(AX, 1, USER, 1) + bytes([REMOVE, AX, 0, 1])
    + integer(AX, 2) + bytes([REMOVE, A, 0, 0, MARK, AX, 0, ADD, SLASH, 0, MARK, SLASH, 2, NOTIFY, 0]),
    "one-shot": bytes([ADD, A, 3, ADD, AX, 3, ADD, AX, 0, ADD, A, 0]) + integer(AX, 1) + integer(AX, 2),
    "one-shot-twice": bytes([ADD, AX, 3, ADD, AX, 3, ADD, AX, 0]) + integer(AX, 1) + integer(AX, 2),
    "throwing": bytes([ADD, A, 2, ADD, A, 0, ADD, AX, 0]) + integer(AX, 1) + integer(B, 2) + bytes([REMOVE, A, 2, 0, NOTIFY, 0, NOTIFY, 0]),
    "no-listener": bytes([ADD, A, 4]),
}

write("register-file", register_files)
write("records", records)
write("names", names)
write("operations", operations)
