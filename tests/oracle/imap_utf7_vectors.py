"""Reference vectors for the IMAP modified UTF-7 converters, made with ICU's
uconv and its "IMAP-mailbox-name" converter (package icu-devtools).

Random mailbox names (printable ASCII with "&" and "-", control characters,
DEL, non-ASCII BMP characters in short and long runs, supplementary
characters) are joined with "|", which none of them contains, and encoded by
one uconv call; every run is closed before "|", so the output splits back
into the names' encodings. The decoded form is checked with a second uconv
call in the other direction.

Records of two fields, each <u32 length><bytes>: the name as UCS-2
(little-endian units) and its modified UTF-7 encoding.
"""
import random
import shutil
import struct
import subprocess
import sys

SEPARATOR = "|"


def field(data):
    return struct.pack("<I", len(data)) + data


def uconv(data, source, target):
    if shutil.which("uconv") is None:
        sys.exit("imap_utf7_vectors: uconv not found (install icu-devtools: scripts/setup)")
    run = subprocess.run(["uconv", "-f", source, "-t", target], input=data,
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if run.returncode != 0:
        sys.exit(f"imap_utf7_vectors: uconv failed: {run.stderr.decode(errors='replace')}")
    return run.stdout


def random_name(rng):
    parts = []
    for _ in range(rng.randint(1, 12)):
        kind = rng.random()
        if kind < 0.3:
            parts.append(rng.choice(["INBOX", "~user", "mail/", "Sent", "a-b", " x ", "2024"]))
        elif kind < 0.45:
            parts.append(rng.choice("&&-.,+/~!\"#$%'()*;<=>?@[\\]^_`{}"))
        elif kind < 0.52:
            parts.append(chr(rng.choice([rng.randint(1, 0x1F), 0x7F])))
        elif kind < 0.85:
            length = rng.choice([1, 2, 3, rng.randint(4, 30)])
            parts.append("".join(chr(rng.choice([rng.randint(0x80, 0x7FF),
                                                  rng.randint(0x800, 0xD7FF),
                                                  rng.randint(0xE000, 0xFFFD)]))
                                 for _ in range(length)))
        else:
            parts.append(chr(rng.randint(0x10000, 0x10FFFF)))
    return "".join(parts)


def main(out_dir):
    rng = random.Random(3501)
    names = [random_name(rng) for _ in range(1500)]
    encoded = uconv(SEPARATOR.join(names).encode("utf-8"), "utf-8", "IMAP-mailbox-name")
    pieces = encoded.split(SEPARATOR.encode("ascii"))
    if len(pieces) != len(names):
        sys.exit("imap_utf7_vectors: uconv output does not split into the names")
    back = uconv(encoded, "IMAP-mailbox-name", "utf-8").decode("utf-8")
    if back != SEPARATOR.join(names):
        sys.exit("imap_utf7_vectors: uconv does not read its own output back")
    with open(f"{out_dir}/imap_utf7_vectors.bin", "wb") as out:
        for name, piece in zip(names, pieces):
            out.write(field(name.encode("utf-16-le")) + field(piece))


if __name__ == "__main__":
    main(sys.argv[1])
