"""Reference vectors for the UTF-7 converters, checked with Python's utf-7
codec.

Records of three fields, each <u32 length><bytes>:
  1. a random UCS-2 text (little-endian units);
  2. Python's UTF-7 encoding of it, which the decoder must read back;
  3. the bytes the encoder must write: direct, optional and space characters
     (backspace included) as themselves, "+" as "+-", base64 runs closed
     with "-" only before a base64 digit or "-", and no "-" at the end.
     Before it is written, every such encoding is decoded with Python's
     codec and must give the text back.

Python holds a trailing high surrogate of an unclosed run back, waiting for
its pair, and then fails; for such texts the check appends the closing "-"
that Python needs (the decoder treats a final "-" as the end of the run).
"""
import random
import struct
import sys

BASE64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
SET_D = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:?"
SET_O = "!\"#$%&*;<=>@[]^_`{|}"
SPACES = " \t\r\n\b"
WRITTEN_AS_IS = {ord(c) for c in SET_D + SET_O + SPACES}


def field(data):
    return struct.pack("<I", len(data)) + data


def expected_encoding(units):
    out = []
    in_run = False
    acc = 0  # pending bits
    nbits = 0

    def flush_padded():
        nonlocal acc, nbits
        if nbits:
            out.append(BASE64[(acc << (6 - nbits)) & 63])
        acc = nbits = 0

    for u in units:
        if u in WRITTEN_AS_IS:
            if in_run:
                flush_padded()
                if chr(u) in BASE64 or u == ord("-"):
                    out.append("-")
                in_run = False
            out.append(chr(u))
        elif u == ord("+") and not in_run:
            out.append("+-")
        else:
            if not in_run:
                out.append("+")
                in_run = True
            acc = (acc << 16) | u
            nbits += 16
            while nbits >= 6:
                nbits -= 6
                out.append(BASE64[(acc >> nbits) & 63])
            acc &= (1 << nbits) - 1
    if in_run:
        flush_padded()
    return "".join(out).encode("ascii")


def random_units(rng):
    units = []
    for _ in range(rng.randint(0, 40)):
        kind = rng.random()
        if kind < 0.3:
            units += [ord(c) for c in rng.choice(["Hi ", "mail", "a-b", "x.y", "(1)", "?:"])]
        elif kind < 0.45:
            units.append(ord(rng.choice(SET_O + SPACES + "+-~\\")))
        elif kind < 0.55:
            units.append(rng.randint(0, 0x7F))
        elif kind < 0.8:
            # A run of non-ASCII units, sometimes long.
            for _ in range(rng.choice([1, 2, 3, rng.randint(4, 40)])):
                units.append(rng.randint(0x80, 0xD7FF))
        elif kind < 0.93:
            cp = rng.randint(0x10000, 0x10FFFF) - 0x10000
            units += [0xD800 + (cp >> 10), 0xDC00 + (cp & 0x3FF)]
        else:
            units.append(rng.randint(0xD800, 0xDFFF))
    return units


def main(out_dir):
    rng = random.Random(7007)
    with open(f"{out_dir}/utf7_vectors.bin", "wb") as out:
        for _ in range(2000):
            units = random_units(rng)
            ucs2 = struct.pack(f"<{len(units)}H", *units)
            text = ucs2.decode("utf-16-le", "surrogatepass")
            ours = expected_encoding(units)
            check = ours
            if units and 0xD800 <= units[-1] <= 0xDBFF and not ours.endswith(b"-"):
                check = ours + b"-"
            decoded = check.decode("utf-7").encode("utf-16-le", "surrogatepass")
            if decoded != ucs2:
                sys.exit(f"utf-7 oracle: Python reads {check!r} differently")
            out.write(field(ucs2) + field(text.encode("utf-7")) + field(ours))


if __name__ == "__main__":
    main(sys.argv[1])
