"""Reference data of the strict interface, made with Python's codecs for every
encoding that the generator describes with a Python codec (libs/gen, its
oracle rows), and with glibc's iconv (through a Python codec on it,
libs/gen/glibc_iconv.py) for those whose row names glibc as the reference.

Output, in OUT_DIR/strict/:
  encodings.txt   one line per encoding: name, Python codec, glibc name, ICU
                  name (each "-" when none), flags ("stateful", "bom",
                  "python-bytes-differ", "glibc-bytes-differ") separated
                  by tabs; then, for each
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
                  Python's decoder finds the first error (for a stateful
                  encoding without documented differences: damaged pieces of
                  its text)
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
sys.path.insert(0, os.path.join(ROOT, "libs", "gen"))

import glibc_iconv  # noqa: E402


# ---- codecs Python lacks ----------------------------------------------------------
#
# UCS-2 in a fixed byte order (UTF-16 without surrogates) and CESU-8 (UTF-8
# forms of one to three bytes; a character above U+FFFF as the forms of its
# two surrogates), written on Python's UTF-16 and UTF-8 codecs.

def encode_each(name, text, errors, one):
    """Encodes text character by character with `one` (None: no mapping),
    calling the error handler as a codec does."""
    out, i = [], 0
    while i < len(text):
        data = one(text[i])
        if data is not None:
            out.append(data)
            i += 1
            continue
        end = i + 1
        while end < len(text) and one(text[end]) is None:
            end += 1
        exc = UnicodeEncodeError(name, text, i, end, "character not in the encoding")
        replacement, i = codecs.lookup_error(errors)(exc)
        out.append(replacement.encode("ascii") if isinstance(replacement, str) else replacement)
    return b"".join(out), len(text)


def ucs2_codec(name, codec):
    def one(ch):
        if ord(ch) > 0xFFFF or 0xD800 <= ord(ch) <= 0xDFFF:
            return None
        return ch.encode(codec)

    def encode(text, errors="strict"):
        return encode_each(name, text, errors, one)

    def decode(data, errors="strict"):
        data = bytes(data)
        for i in range(0, len(data) - 1, 2):
            if 0xD8 <= data[i + (0 if codec.endswith("be") else 1)] <= 0xDF:
                raise UnicodeDecodeError(name, data, i, i + 2, "surrogate unit")
        if len(data) % 2:
            raise UnicodeDecodeError(name, data, len(data) - 1, len(data), "truncated data")
        return data.decode(codec), len(data)

    return codecs.CodecInfo(encode, decode, name=name)


def cesu8_encode(text, errors="strict"):
    def one(ch):
        units = ch.encode("utf-16-be")
        return b"".join(chr(int.from_bytes(units[k:k + 2], "big")).encode("utf-8", "surrogatepass")
                        for k in range(0, len(units), 2))
    return encode_each("x-nls-cesu-8", text, errors, one)


def cesu8_form(data, i):
    """(end, unit) of the UTF-8 form of at most three bytes at i (surrogates
    included) by Python's UTF-8 decoder; raises the error otherwise."""
    lead = data[i]
    length = 1 if lead < 0x80 else 2 if 0xC2 <= lead <= 0xDF else 3 if 0xE0 <= lead <= 0xEF else 0
    if length == 0:
        raise UnicodeDecodeError("x-nls-cesu-8", data, i, i + 1, "invalid start byte")
    for k in range(2, length + 1):
        piece = data[i:i + k]
        try:
            codecs.utf_8_decode(piece, "surrogatepass", False)
        except UnicodeDecodeError:
            raise UnicodeDecodeError("x-nls-cesu-8", data, i, i + k - 1, "invalid continuation byte")
        if len(piece) < k:
            raise UnicodeDecodeError("x-nls-cesu-8", data, i, len(data), "unexpected end of data")
    return i + length, ord(codecs.utf_8_decode(data[i:i + length], "surrogatepass")[0])


def cesu8_decode(data, errors="strict"):
    data, out, i = bytes(data), [], 0
    while i < len(data):
        end, unit = cesu8_form(data, i)
        if 0xDC00 <= unit <= 0xDFFF:
            raise UnicodeDecodeError("x-nls-cesu-8", data, i, end, "lone low surrogate")
        if 0xD800 <= unit <= 0xDBFF:
            try:
                after, low = cesu8_form(data, end) if end < len(data) else (None, None)
            except UnicodeDecodeError as e:
                if e.reason == "unexpected end of data" and data[end] == 0xED and \
                        (len(data) - end < 2 or data[end + 1] >= 0xB0):
                    raise UnicodeDecodeError("x-nls-cesu-8", data, i, len(data),
                                             "unexpected end of data")
                after, low = None, 0
            if after is None and low is None:
                raise UnicodeDecodeError("x-nls-cesu-8", data, i, len(data),
                                         "unexpected end of data")
            if not 0xDC00 <= low <= 0xDFFF:
                raise UnicodeDecodeError("x-nls-cesu-8", data, i, end, "lone high surrogate")
            out.append(chr(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00)))
            i = after
            continue
        out.append(chr(unit))
        i = end
    return "".join(out), len(data)


OWN_CODECS = {
    "x_nls_ucs_2_be": ucs2_codec("x-nls-ucs-2-be", "utf-16-be"),
    "x_nls_ucs_2_le": ucs2_codec("x-nls-ucs-2-le", "utf-16-le"),
    "x_nls_cesu_8": codecs.CodecInfo(cesu8_encode, cesu8_decode, name="x-nls-cesu-8"),
}
codecs.register(lambda name: OWN_CODECS.get(name.replace("-", "_")))
OWN_CODECS_NAMES = {c.name for c in OWN_CODECS.values()}


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


# Python codecs on glibc's converters: Python codec name -> glibc name.
GLIBC_CODECS = {}


def glibc_codec(glibc_name):
    name = "x_nls_glibc_" + glibc_name.lower().replace("-", "_")
    if name not in GLIBC_CODECS:
        info = glibc_iconv.codec_info(glibc_name, name)
        GLIBC_CODECS[name] = glibc_name
        codecs.register(lambda n, name=name, info=info: info if n == name else None)
    return name


def encodable(codec, excluded):
    """Every code point the codec encodes alone, in order."""
    chars = [c for c in range(0x110000) if not 0xD800 <= c <= 0xDFFF and c not in excluded]
    if codec in GLIBC_CODECS:
        return [c for c, code in zip(chars, glibc_iconv.encode_each(GLIBC_CODECS[codec], chars))
                if code is not None]
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
            # Three-byte forms, where the first two bytes are not a
            # character already (Shift_JIS: 0x8E and 0x8F lead pairs).
            for b1 in range(0xA1, 0xFF):
                if decodes(bytes([lead, b1]), codec) is not None:
                    continue
                for b2 in range(0xA1, 0xFF):
                    s = bytes([lead, b1, b2])
                    text = decodes(s, codec)
                    if text is not None and len(text) <= 2:
                        seqs.append(s)
        if lead == 0x8E and not any(s[0] == lead for s in seqs):
            # EUC-TW's four-byte forms: 0x8E, a plane byte, two bytes.
            for b1 in range(0xA1, 0xB1):
                for b2 in range(0xA1, 0xFF):
                    for b3 in range(0xA1, 0xFF):
                        s = bytes([lead, b1, b2, b3])
                        if decodes(s, codec) is not None:
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


# Surrogates of the 16-bit forms (here big-endian; swapped for the
# little-endian ones): lone, reversed, cut, a high one before another.
UTF16_CASES = [b"\xd8\x00", b"\xdc\x00", b"\xdc\x00\xd8\x00", b"\xd8\x00\x00a",
               b"\xd8\x00\xd8\x00\xdc\x00", b"\xdb\xff\xdf", b"\xdb\xff\xdf\xff", b"\x00"]
UTF32_CASES = [b"\x00\x11\x00\x00", b"\x00\x00\xd8\x00", b"\x00\x00\xdf\xff",
               b"\xff\xff\xff\xff", b"\x00\x10\xff", b"\x00"]
CESU8_CASES = [b"\xed\xa0\x80", b"\xed\xa0\x80A", b"\xed\xb0\x80", b"\xed\xa0\x80\xed\xa0\x80",
               b"\xed\xa0\x80\xed", b"\xed\xa0\x80\xed\xb0", b"\xed\xa0\x80\xed\xa0",
               b"\xed\xa0\x80\xe1\x80\x80", b"\xed\xa0\x80\xed\xb0A", b"\xf0\x9f\x98\x80",
               b"\xed\xaf\xbf\xed\xbf\xbf"]


def swapped(cases, width):
    return [b"".join(c[k:k + width][::-1] for k in range(0, len(c), width)) for c in cases]


def bad_inputs(codec, leads, rng, avoid=()):
    """Ill-formed inputs; their valid parts keep clear of the bytes in `avoid`
    (those a peer reads otherwise)."""
    cases = []
    name = codecs.lookup(codec).name
    if name == "utf-8":
        cases += [b"ab" + c + b"cd" for c in UTF8_CASES] + [b"ab" + c for c in UTF8_CASES]
    if name == "x-nls-cesu-8":
        cases += [b"ab" + c + b"cd" for c in CESU8_CASES + UTF8_CASES]
        cases += [b"ab" + c for c in CESU8_CASES + UTF8_CASES]
    for width, forms in ((2, UTF16_CASES), (4, UTF32_CASES)):
        if name.endswith(("16-be", "16-le", "2-be", "2-le") if width == 2 else ("32-be", "32-le")):
            little = name.endswith("le")
            a = "a".encode("utf-16-le" if little else "utf-16-be") * (width // 2)
            a = a if width == 2 else "a".encode("utf-32-le" if little else "utf-32-be")
            for c in (swapped(forms, width) if little else forms):
                cases += [a + c + a, a + c]
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


def damaged(encoded, rng):
    """Pieces of a stateful encoding's text (starting anywhere, so also in
    the middle of a shift), some with a byte replaced by one that shifts,
    ends a line or cannot occur: shifts and escapes cut and broken."""
    cases = []
    for _ in range(400):
        start = rng.randrange(len(encoded))
        piece = bytearray(encoded[start:start + rng.randint(1, 40)])
        for _ in range(rng.randint(0, 2)):
            piece[rng.randrange(len(piece))] = rng.choice(b"~{}\n\x0e\x0f\x1b\x20\x7f\x80\xff")
        cases.append(bytes(piece))
    return cases


def write_bad(out, inputs, codec, excluded_bytes):
    for data in inputs:
        error = first_error(data, codec)
        if error is None:
            continue
        start, end, incomplete = error
        # A documented difference where it stops or before it (its prefix
        # would hold the codec's character, not ours).
        if any(b in data[:start + len(b)] for b in excluded_bytes):
            continue
        prefix = data[:start].decode(codec)
        write_record(out, b"bad", struct.pack("<III", start, end, incomplete) + data)
        write_record(out, b"badprefix", prefix.encode("utf-16-le"))


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
        codec = row["python"]
        if codec is None and row.get("reference") == "glibc":
            # The reference is glibc, and its documented differences those
            # the data leaves out.
            codec = glibc_codec(row["glibc"])
            python_diff = row["differences"].get("glibc", {})
        if row["python"] and python_diff and (python_diff["spelling"] or (
                not python_diff["chars"] and not python_diff["bytes"] and not python_diff["ends"])):
            flags.append("python-bytes-differ")
        if row["differences"].get("glibc", {}).get("spelling"):
            flags.append("glibc-bytes-differ")
        lines.append("\t".join([row["name"], row["python"] or "-", row["glibc"] or "-",
                                row["icu"] or "-", ",".join(flags) or "-"]))
        for peer, d in row["differences"].items():
            for c in d["chars"]:
                lines.append(f"differs\t{row['name']}\t{peer}\tchar\t{c:x}")
            for b in d["bytes"]:
                lines.append(f"differs\t{row['name']}\t{peer}\tbytes\t{b}")
            if d.get("ends"):
                lines.append(f"differs\t{row['name']}\t{peer}\tends\t-")
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
            try:
                if not any(b in encoded for b in excluded_bytes):
                    write_record(out, b"bytestext", encoded.decode(codec).encode("utf-16-le"))
            except UnicodeDecodeError:
                # glibc's ISO-2022-CN cannot read all of its own text back
                # (libs/gen/cns.py); the text reads back as itself here.
                assert codec in GLIBC_CODECS
                write_record(out, b"bytestext", text.encode("utf-16-le"))
            if row["stateful"] or row["bom"]:
                # Byte sequences of these depend on what came before: damaged
                # pieces of the codec's own text instead, where the decoder
                # follows the codec throughout (no documented difference).
                if row["stateful"] and not python_diff:
                    write_bad(out, damaged(encoded, rng), codec, [])
                continue
            leads = set()
            if "utf" not in codecs.lookup(codec).name and codec not in OWN_CODECS_NAMES:
                seqs, leads = valid_sequences(codec)
                seqs = [s for s in seqs if not any(s.startswith(b) for b in excluded_bytes)]
                valid = b"".join(seqs)
                write_record(out, b"valid", valid)
                write_record(out, b"validlengths", bytes(len(s) for s in seqs))
                write_record(out, b"validtext", valid.decode(codec).encode("utf-16-le"))
            avoid = {bytes.fromhex(b)[0] for d in row["differences"].values()
                     for b in d["bytes"] if len(b) == 2}
            write_bad(out, bad_inputs(codec, leads, rng, avoid), codec, excluded_bytes)
    with open(os.path.join(strict_dir, "encodings.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main(sys.argv[1])
