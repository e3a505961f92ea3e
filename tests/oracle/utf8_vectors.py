"""Reference pairs (UCS-2, UTF-8) made with Python's codecs.

Random texts mix ASCII, Latin, CJK, supplementary characters and lone
surrogates. The UCS-2 side is little-endian (both target machines are);
lone surrogates go through the 'surrogatepass' error handler, which writes
them as three-byte sequences exactly as the encoder does.

Output: utf8_pairs.bin, records of <u32 len><ucs2 bytes><u32 len><utf8 bytes>.
"""
import random
import struct
import sys


def random_units(rng):
    units = []
    for _ in range(rng.randint(0, 300)):
        kind = rng.random()
        if kind < 0.35:
            units.append(rng.randint(0x20, 0x7E))
        elif kind < 0.45:
            units.append(rng.randint(0x00, 0x7F))
        elif kind < 0.6:
            units.append(rng.randint(0x80, 0x7FF))
        elif kind < 0.75:
            units.append(rng.choice([rng.randint(0x800, 0xD7FF), rng.randint(0xE000, 0xFFFF)]))
        elif kind < 0.92:
            cp = rng.randint(0x10000, 0x10FFFF) - 0x10000
            units += [0xD800 + (cp >> 10), 0xDC00 + (cp & 0x3FF)]
        else:
            units.append(rng.randint(0xD800, 0xDFFF))  # lone (or accidentally paired)
    return units


def main(out_dir):
    rng = random.Random(20261122)
    with open(f"{out_dir}/utf8_pairs.bin", "wb") as out:
        for _ in range(2000):
            units = random_units(rng)
            ucs2 = struct.pack(f"<{len(units)}H", *units)
            text = ucs2.decode("utf-16-le", "surrogatepass")
            utf8 = text.encode("utf-8", "surrogatepass")
            out.write(struct.pack("<I", len(ucs2)) + ucs2 + struct.pack("<I", len(utf8)) + utf8)


if __name__ == "__main__":
    main(sys.argv[1])
