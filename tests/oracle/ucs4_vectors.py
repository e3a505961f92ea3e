"""Reference vectors for the UCS-4 converters, made with Python's utf-32-le
and utf-16-le codecs (little-endian, as on both target machines).

narrowing: records <ucs4 bytes><ucs2 bytes>: random code points of the whole
  Unicode range (surrogate code points included through 'surrogatepass'),
  encoded as UTF-32 and as UTF-16.
widening: records <ucs2 bytes><ucs4 bytes>: random 16-bit units, each taken
  as a code point of its own and encoded as UTF-32.

Each record field is <u32 length><bytes>.
"""
import random
import struct
import sys


def field(data):
    return struct.pack("<I", len(data)) + data


def random_code_point(rng):
    kind = rng.random()
    if kind < 0.3:
        return rng.randint(0, 0x7F)
    if kind < 0.6:
        return rng.randint(0x80, 0xFFFF)
    if kind < 0.95:
        return rng.randint(0x10000, 0x10FFFF)
    return rng.randint(0xD800, 0xDFFF)


def main(out_dir):
    rng = random.Random(4242)
    with open(f"{out_dir}/ucs4_narrowing.bin", "wb") as out:
        for _ in range(1500):
            text = "".join(chr(random_code_point(rng)) for _ in range(rng.randint(0, 60)))
            out.write(field(text.encode("utf-32-le", "surrogatepass")))
            out.write(field(text.encode("utf-16-le", "surrogatepass")))
    with open(f"{out_dir}/ucs4_widening.bin", "wb") as out:
        for _ in range(1500):
            units = [rng.choice([rng.randint(0, 0x7F), rng.randint(0, 0xFFFF)])
                     for _ in range(rng.randint(0, 60))]
            ucs2 = struct.pack(f"<{len(units)}H", *units)
            ucs4 = b"".join(chr(u).encode("utf-32-le", "surrogatepass") for u in units)
            out.write(field(ucs2) + field(ucs4))


if __name__ == "__main__":
    main(sys.argv[1])
