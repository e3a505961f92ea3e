"""Reference vectors for the escaped-Unicode converters.

escaped_writing.bin: records <ucs2 text><escaped form>. The escaped form is
  made here: printable ASCII, tab, line feed and carriage return as
  themselves, every other unit as a backslash, "u" and four upper-case
  hexadecimal digits. Texts without backslashes are checked against Python's
  raw_unicode_escape codec, which reads such escapes.
escaped_reading.bin: records <bytes><ucs2 text>: random byte strings rich in
  backslashes, "u" and hexadecimal digits, read by the rules below, written
  independently of the library with regular expressions:
  - backslash, "u", further "u"s and up to four hexadecimal digits: one unit
    (the digits so far when a non-digit comes first, 0 for none); the
    non-digit begins the next item;
  - backslash and another byte: both bytes as units;
  - a backslash, or an escape missing digits, at the very end: its bytes as
    units;
  - any other byte: one unit with the byte's value.

Fields are <u32 length><bytes>; UCS-2 is little-endian.
"""
import random
import re
import struct
import sys

ESCAPE = re.compile(rb"\\u+([0-9A-Fa-f]{0,4})")


def field(data):
    return struct.pack("<I", len(data)) + data


def ucs2(units):
    return struct.pack(f"<{len(units)}H", *units)


def escape(units):
    out = []
    for u in units:
        if 0x20 <= u <= 0x7E or u in (0x09, 0x0A, 0x0D):
            out.append(chr(u))
        else:
            out.append("\\u%04X" % u)
    return "".join(out).encode("ascii")


def read(data):
    units = []
    pos = 0
    while pos < len(data):
        match = ESCAPE.match(data, pos)
        if match:
            digits = match.group(1)
            if len(digits) == 4 or match.end() < len(data):
                units.append(int(digits, 16) if digits else 0)
                pos = match.end()
                continue
        if data[pos] == 0x5C and pos + 1 < len(data) and data[pos + 1] != ord("u"):
            units += [0x5C, data[pos + 1]]
            pos += 2
            continue
        units.append(data[pos])
        pos += 1
    return units


def main(out_dir):
    rng = random.Random(1155)
    with open(f"{out_dir}/escaped_writing.bin", "wb") as out:
        for _ in range(1500):
            units = [rng.choice([rng.randint(0x20, 0x7E), rng.randint(0, 0x7F),
                                 rng.randint(0x80, 0xFFFF), 0x5C, 0x09, 0x0A, 0x0D])
                     for _ in range(rng.randint(0, 50))]
            escaped = escape(units)
            if 0x5C not in units:
                text = escaped.decode("raw_unicode_escape").encode("utf-16-le", "surrogatepass")
                if text != ucs2(units):
                    sys.exit("escaped_unicode_vectors: raw_unicode_escape disagrees")
            out.write(field(ucs2(units)) + field(escaped))
    alphabet = [b"\\", b"\\", b"u", b"uu", b"0", b"4", b"9", b"a", b"F", b"e", b"g", b"x", b"-",
                b"n", b" ", b"\n", b"\xe9", b"\xff", b"\x00", b"\\u00E9", b"\\u4e2d", b"\\\\"]
    with open(f"{out_dir}/escaped_reading.bin", "wb") as out:
        for _ in range(3000):
            data = b"".join(rng.choice(alphabet) for _ in range(rng.randint(0, 30)))
            out.write(field(data) + field(ucs2(read(data))))


if __name__ == "__main__":
    main(sys.argv[1])
