"""Reference data of the strict interface, made with Python's codecs for every
encoding that the generator describes with a Python codec (libs/gen, its
oracle rows).

Output, in OUT_DIR/strict/:
  encodings.txt   one line per encoding: name, Python codec, glibc name, ICU
                  name (each "-" when none), flags ("stateful", "bom",
                  "python-bytes-differ") separated by tabs; then, for each
                  peer difference, lines "differs<TAB>name<TAB>peer<TAB>kind<TAB>hex"
                  (kind "char" with a code point, "bytes", or "ends" with "-")
  <N>.bin         for encoding number N (its line in encodings.txt), records of
                  two fields (see tests/support/oracle_records.h): a tag and a
                  payload:
    text          UTF-16LE of every character the codec encodes, in code
                  point order (without the documented differences; for the
                  Unicode forms the Basic Multilingual Plane and every 97th
                  character above it)
    bytes         the codec's encoding of that text
    bytestext     the codec's decoding of those bytes (not always the text:
                  one-way mappings)
    valid         every byte sequence of one or two bytes (and three for
                  0x8E/0x8F prefixes) that the codec decodes, concatenated
    validlengths  the length of each of those sequences, one byte each
    validtext     its decoding (UTF-16LE)
    bad           u32 start, u32 end, u32 incomplete (1: the input ends inside
                  the sequence), then the input: an ill-formed input and where
                  Python's decoder finds the first error
    badprefix     UTF-16LE decoding of the input before that error
"""
import codecs
import json
import os
import random
import struct
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def oracle_rows():
    out = subprocess.run([sys.executable, os.path.join(ROOT, "libs", "gen", "gen_tables.py"),
                          "--oracle", "/dev/stdout"], check=True, capture_output=True, text=True)
    return json.loads(out.stdout)


# x-user-defined (libs/gen/single_byte_encodings.py) has no Python codec: bytes
# 0x00-0x7F are ASCII, bytes 0x80-0xFF the characters U+F780-U+F7FF.
X_USER_DEFINED = "".join(chr(b if b < 0x80 else 0xF700 + b) for b in range(256))
X_USER_DEFINED_ENCODING = codecs.charmap_build(X_USER_DEFINED)


def x_user_defined(name):
    if name.replace("-", "_") != "x_user_defined":
        return None
    return codecs.CodecInfo(
        name="x_user_defined",
        encode=lambda text, errors="strict": codecs.charmap_encode(text, errors,
                                                                   X_USER_DEFINED_ENCODING),
        decode=lambda data, errors="strict": codecs.charmap_decode(data, errors, X_USER_DEFINED))


codecs.register(x_user_defined)

failures = []


def record_errors(exc):
    failures.append((exc.start, exc.end))
    return ("", exc.end)


codecs.register_error("nls_record", record_errors)


def encodable(codec, excluded):
    """Every code point the codec encodes alone, in order."""
    chars = [c for c in range(0x110000) if not 0xD800 <= c <= 0xDFFF and c not in excluded]
    text = "".join(map(chr, chars))
    failures.clear()
    try:
        text.encode(codec, "nls_record")
    except (UnicodeError, LookupError):
        return []
    bad = set()
    for start, end in failures:
        bad.update(range(start, end))
    return [c for i, c in enumerate(chars) if i not in bad]


def single_byte(codec):
    if codecs.lookup(codec).name == "x_user_defined":
        return True
    try:
        mod = __import__("encodings." + codecs.lookup(codec).name.replace("-", "_"),
                         fromlist=["x"])
    except ImportError:
        return False
    return hasattr(mod, "decoding_table")


def decodes(seq, codec):
    try:
        return seq.decode(codec)
    except UnicodeDecodeError:
        return None


def valid_sequences(codec):
    seqs = []
    singles = [b for b in range(256) if decodes(bytes([b]), codec) is not None]
    seqs += [bytes([b]) for b in singles]
    if single_byte(codec):
        return seqs, set()
    leads = set()
    for lead in range(0x80, 0x100):
        if lead in singles and lead not in (0x8E, 0x8F):
            continue
        for trail in range(256):
            s = bytes([lead, trail])
            text = decodes(s, codec)
            if text is not None and len(text) <= 2:
                seqs.append(s)
                leads.add(lead)
        if lead in (0x8E, 0x8F):
            for b1 in range(0xA1, 0xFF):
                for b2 in range(0xA1, 0xFF):
                    s = bytes([lead, b1, b2])
                    text = decodes(s, codec)
                    if text is not None and len(text) <= 2:
                        seqs.append(s)
    return seqs, leads


def first_error(data, codec):
    """(start, end, incomplete) of the first decoding error, or None."""
    try:
        data.decode(codec)
        return None
    except UnicodeDecodeError as e:
        incomplete = e.end == len(data) and ("end of data" in e.reason or
                                             "incomplete" in e.reason or
                                             "truncated" in e.reason)
        return (e.start, e.end, int(incomplete))


UTF8_CASES = [b"\xc0\xaf", b"\xc0\x80", b"\xc1\xbf", b"\xe0\x80\xaf", b"\xe0\x9f\xbf",
              b"\xed\xa0\x80", b"\xed\xbf\xbf", b"\xf0\x8f\xbf\xbf", b"\xf4\x90\x80\x80",
              b"\xf5\x80\x80\x80", b"\xff", b"\x80", b"\xbf", b"\xe6\x97\x64",
              b"\xe6\x97", b"\xf0\x9f\x98", b"\xc3"]


def bad_inputs(codec, leads, rng, avoid=()):
    """Ill-formed inputs; their valid parts keep clear of the bytes in `avoid`
    (those a peer reads otherwise)."""
    cases = []
    if codecs.lookup(codec).name == "utf-8":
        cases += [b"ab" + c + b"cd" for c in UTF8_CASES] + [b"ab" + c for c in UTF8_CASES]
    if single_byte(codec):
        # Each undefined byte after a few characters, and after runs long
        # enough for the steps of eight of the single-byte codec (ASCII and
        # defined bytes of all kinds mixed).
        defined = [b for b in range(0x20, 256)
                   if decodes(bytes([b]), codec) is not None and b not in avoid]
        mixed = bytes(defined[k * 37 % len(defined)] for k in range(24))
        for b in range(256):
            if decodes(bytes([b]), codec) is None:
                cases.append(b"ab" + bytes([b]) + b"cd")
                cases.append(mixed[:9 + b % 8] + bytes([b]) + mixed)
                cases.append(b"abcdefghijklmnopqrstuvw"[:8 + b % 16] + bytes([b]))
        return cases
    for lead in sorted(leads):
        for trail in (0x00, 0x0A, 0x20, 0x30, 0x41, 0x7F, 0x80, 0xA0, 0xFF):
            s = b"x" + bytes([lead, trail]) + b"y"
            if decodes(bytes([lead, trail]), codec) is None:
                cases.append(s)
        cases.append(b"ab" + bytes([lead]))  # cut by the end
    for _ in range(200):
        cases.append(bytes(rng.randrange(256) for _ in range(rng.randint(1, 24))))
    return cases


def write_record(out, tag, payload):
    out.write(struct.pack("<I", len(tag)) + tag + struct.pack("<I", len(payload)) + payload)


def main(out_dir):
    rows = oracle_rows()
    strict_dir = os.path.join(out_dir, "strict")
    os.makedirs(strict_dir, exist_ok=True)
    lines = []
    rng = random.Random(20261123)
    for n, row in enumerate(rows):
        flags = [f for f in ("stateful", "bom") if row[f]]
        python_diff = row["differences"].get("python", {})
        if row["python"] and python_diff and not python_diff["chars"] and \
                not python_diff["bytes"] and not python_diff["ends"]:
            flags.append("python-bytes-differ")
        lines.append("\t".join([row["name"], row["python"] or "-", row["glibc"] or "-",
                                row["icu"] or "-", ",".join(flags) or "-"]))
        for peer, d in row["differences"].items():
            for c in d["chars"]:
                lines.append(f"differs\t{row['name']}\t{peer}\tchar\t{c:x}")
            for b in d["bytes"]:
                lines.append(f"differs\t{row['name']}\t{peer}\tbytes\t{b}")
            if d.get("ends"):
                lines.append(f"differs\t{row['name']}\t{peer}\tends\t-")
        codec = row["python"]
        with open(os.path.join(strict_dir, f"{n}.bin"), "wb") as out:
            if codec is None:
                continue
            excluded_chars = set(python_diff.get("chars", []))
            excluded_bytes = [bytes.fromhex(b) for b in python_diff.get("bytes", [])]
            chars = encodable(codec, excluded_chars)
            if len(chars) > 200000:
                # A Unicode form: the whole Basic Multilingual Plane and a
                # spread of the rest is enough.
                chars = [c for c in chars if c < 0x10000 or c % 97 == 0]
            text = "".join(map(chr, chars))
            write_record(out, b"text", text.encode("utf-16-le"))
            encoded = text.encode(codec)
            write_record(out, b"bytes", encoded)
            if not any(b in encoded for b in excluded_bytes):
                write_record(out, b"bytestext", encoded.decode(codec).encode("utf-16-le"))
            if row["stateful"] or row["bom"]:
                continue  # byte sequences of these depend on what came before
            leads = set()
            if "utf" not in codecs.lookup(codec).name:
                seqs, leads = valid_sequences(codec)
                seqs = [s for s in seqs if not any(s.startswith(b) for b in excluded_bytes)]
                valid = b"".join(seqs)
                write_record(out, b"valid", valid)
                write_record(out, b"validlengths", bytes(len(s) for s in seqs))
                write_record(out, b"validtext", valid.decode(codec).encode("utf-16-le"))
            avoid = {bytes.fromhex(b)[0] for d in row["differences"].values()
                     for b in d["bytes"] if len(b) == 2}
            for data in bad_inputs(codec, leads, rng, avoid):
                error = first_error(data, codec)
                if error is None:
                    continue
                start, end, incomplete = error
                if any(data[start:].startswith(b) for b in excluded_bytes):
                    continue
                prefix = data[:start].decode(codec)
                write_record(out, b"bad", struct.pack("<III", start, end, incomplete) + data)
                write_record(out, b"badprefix", prefix.encode("utf-16-le"))
    with open(os.path.join(strict_dir, "encodings.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main(sys.argv[1])
