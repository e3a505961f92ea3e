#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz harnesses into fuzz/corpus/<harness>/.

The harnesses read their input with libFuzzer's FuzzedDataProvider: byte
strings from the front, integers from the back (last byte first). The helpers
below lay seeds out the same way, so that each seed starts the harness on a
meaningful case.
"""
import os
import struct
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def int_bytes(value, range_size):
    """Bytes that ConsumeIntegralInRange(0, range_size) reads back as value,
    in the order they must appear (they are read from the end)."""
    out = []
    offset = 0
    while offset < 64 and (range_size >> offset) > 0:
        out.append(0)
        offset += 8
    # The first byte read (the last of the data) is the most significant.
    for i in range(len(out)):
        shift = 8 * (len(out) - 1 - i)
        out[i] = (value >> shift) & 0xFF
    return bytes(reversed(out))


class Seed:
    """Front part (byte strings) and back part (integers, read last-first)."""

    def __init__(self):
        self.front = b""
        self.back = []  # in reading order

    def bytes(self, data):
        self.front += data
        return self

    def string(self, text):
        # ConsumeRandomLengthString: a backslash and any other byte end it.
        self.front += text.replace(b"\\", b"\\\\") + b"\\x"
        return self

    def integer(self, value, range_size):
        self.back.append(int_bytes(value, range_size))
        return self

    def data(self):
        return self.front + b"".join(reversed(self.back))


def write(harness, name, data):
    directory = os.path.join(ROOT, harness)
    os.makedirs(directory, exist_ok=True)
    with open(os.path.join(directory, name), "wb") as f:
        f.write(data)


def ucs2(text):
    return text.encode("utf-16-le" if sys.byteorder == "little" else "utf-16-be",
                       "surrogatepass")


def ucs4(text):
    return text.encode("utf-32-le" if sys.byteorder == "little" else "utf-32-be",
                       "surrogatepass")


SAMPLE = "Grüße, 日本語 – ☺ a&b \\u00e9 +AGE- \U0001F600\n"

CONVERTER_TEXTS = [
    ("latin1_to_ucs2", 0, "Grüße\x00\x7f\x80\xff".encode("latin-1")),
    ("ucs2_to_latin1", 1, ucs2("Grüße ŁĀ")),
    ("macroman_to_ucs2", 2, bytes(range(1, 256))),
    ("ucs2_to_macroman", 3, ucs2("€Ω≠ﬂ\uf8ff abc")),
    ("ucs4_to_ucs2", 4, ucs4("A日\U0001F600") + b"\x01\x02"),
    ("ucs2_to_ucs4", 5, ucs2(SAMPLE) + b"\x01"),
    ("eucs_to_ucs2", 6, b"A\\u00e9\\uuu4E2D\\n\\\\u0041\\u12"),
    ("ucs2_to_eucs", 7, ucs2("A\u00e9\n\\\x7f\x00\u4e2d")),
    ("utf8_to_ucs2", 8, SAMPLE.encode("utf-8") + b"\xc0\x80\xed\xa0\x80\xf8\x88\x80\x80\x80\xe4\xb8"),
    ("ucs2_to_utf8", 9, ucs2(SAMPLE) + ucs2("\udc00\ud800")),
    ("utf7_to_ucs2", 10, b"Hi Mom -+Jjo--! +ZeVnLIqe- A+ImIDkQ. +AGE +- \xe9+AGE"),
    ("ucs2_to_utf7", 11, ucs2("Hi Mom -☺-! 日本語 a+b ~\\")),
    ("mutf7_to_ucs2", 12, b"~user/mail/&U,BTFw-/&ZeVnLIqe- &- && & &AOk. &AOk"),
    ("ucs2_to_mutf7", 13, ucs2("~user/mail/台北/日本語 a&b é&x\t")),
]


def converter_seeds():
    for name, index, text in CONVERTER_TEXTS:
        seed = Seed().bytes(text).integer(index, 13).integer(len(text), 4096)
        # Output sizes and piece lengths: a few small ones.
        for size in (3, 1, 7, 0, 2, 5):
            seed.integer(0, 3).integer(size, 4)
        write("converter", name, seed.data())


STREAM_NAMES = ["ISO_8859-1:1987", "latin1", "US-ASCII", "x-mac-roman", "ISO-10646-UCS-4",
                "ESCAPED_UNICODE", "UTF-8", "utf_8", "UNICODE-1-1-UTF-7", "utf-7",
                "IMAP-MODIFIED-UTF-7", "imap_utf_7", "ISO-10646-UCS-2", "csUnicode11",
                "euc-jp", "no-such-encoding"]


def stream_seeds():
    pairs = [
        ("latin1", "UTF-8", "Grüße, café ×10".encode("latin-1")),
        ("UTF-8", "ISO-10646-UCS-2", SAMPLE.encode("utf-8")),
        ("ISO-10646-UCS-2", "utf-7", ucs2(SAMPLE)),
        ("UTF-8", "ESCAPED_UNICODE", SAMPLE.encode("utf-8")),
        ("x-mac-roman", "ISO-10646-UCS-4", bytes(range(32, 256))),
        ("ISO-10646-UCS-4", "x-mac-roman", ucs4("Ω≈ç√∫")),
        ("imap_utf_7", "UTF-8", b"~user/mail/&U,BTFw-/&ZeVnLIqe-"),
        ("euc-jp", "UTF-8", b"abc"),
    ]
    for i, (a, b, text) in enumerate(pairs):
        seed = (Seed().bytes(text).integer(STREAM_NAMES.index(a), len(STREAM_NAMES) - 1)
                .integer(STREAM_NAMES.index(b), len(STREAM_NAMES) - 1)
                .integer(len(text), 2048))
        for piece, size in ((5, 6), (3, 1), (11, 9), (2, 300)):
            seed.integer(piece, 300).integer(1, 3).integer(size, 16)
        write("stream", "pair%d" % i, seed.data())


def registry_seeds():
    enc = (b"// conversions\n"
           b"UTF-8 ISO-10646-UCS-2 @@staticconvertersINTERNAL@@ NewUTF8ToUnicodeEncodingConverter #\n"
           b"X-ONE\tISO-10646-UCS-2\n@@staticconvertersINTERNAL@@\n"
           b"NewLatin1ToUnicodeEncodingConverter\n#   // trailing comment\n"
           b"Shift_JIS ISO-10646-UCS-2 sjis NewSJISToUnicode NewSJISDetector\n"
           b"ISO-10646-UCS-2 X-ONE @@staticconvertersINTERNAL@@ NoSuchEntry #")
    alias = b"UTF_8 UTF-8 sjis Shift_JIS\n// comment\nlatin1 X-ONE x-first x-second x-second x-third"
    java = b"UTF8 UTF-8\nSJIS Shift_JIS\r\nISO8859_1 ISO_8859-1:1987 // last comment without newline"
    write("registry_files", "all_three",
          Seed().string(enc).string(alias).string(java).string(b"x-first")
          .integer(0, 15).integer(0, 15).integer(0, 15).data())
    # encreg.txt missing: the others are not read.
    write("registry_files", "missing_first",
          Seed().string(enc).string(alias).string(java).string(b"latin1")
          .integer(14, 15).integer(0, 15).integer(0, 15).data())
    write("registry_files", "long_and_odd",
          Seed().string(b"A" * 70 + b" B C D E\n\xff\xfe \xc3\xa9 L E #\nshort")
          .string(b"x").string(b"/only a comment").string(b"\xff" * 70)
          .integer(0, 15).integer(15, 15).integer(0, 15).data())


def detection_seeds():
    samples = [
        b"hello world",
        b"abc\x1b$Bxyz\x1b(J",
        b"\x1b$(Dxx",
        bytes.fromhex("93FA967B8CEA"),
        bytes.fromhex("C6FCCBDCB8EC"),
        bytes.fromhex("B1B2B3"),
        bytes.fromhex("636166E9"),
        bytes.fromhex("8FB0A141A4A2"),
        "日本語のテキスト".encode("utf-8"),
        "日本語のテキスト".encode("shift_jis"),
        "日本語のテキスト".encode("euc_jp"),
        "日本語のテキスト".encode("iso2022_jp"),
        bytes.fromhex("E4B8"),
    ]
    for i, sample in enumerate(samples):
        write("detection", "sample%d" % i, bytes([i % 6]) + sample)


def sequence_seeds():
    # Operation codes as the harness numbers them.
    new, delete, stream, drain, reset, whole, sizes, listing = 0, 1, 2, 4, 5, 6, 7, 8
    seed = Seed().string(b"X-CHOSEN").bytes(b"caf\xc3\xa9 \xe6\x97\xa5")
    seed.integer(1, 1)  # mutex
    seed.integer(new, 15).integer(1, 24).integer(2, 24)  # ISO_8859-1:1987 > UTF-8
    seed.integer(stream, 15).integer(0, 0).integer(8, 200).integer(3, 300)
    seed.integer(drain, 15).integer(0, 0).integer(40, 300)
    seed.integer(listing, 15).integer(11, 24).integer(4, 24)
    seed.integer(sizes, 15).integer(2, 24).integer(7, 24).integer(100, 65535)
    seed.integer(reset, 15).integer(0, 0)
    seed.integer(12, 15).integer(1, 1)
    seed.integer(13, 15).integer(1, 1).integer(0, 1).integer(1, 1)
    seed.integer(10, 15).integer(23, 24)
    seed.integer(delete, 15).integer(0, 0)
    write("sequence", "basic", seed.data())
    write("sequence", "names", Seed().string(b"\xc3\xa9\xff*").integer(0, 1)
          .integer(10, 15).integer(15, 24).integer(10, 15).integer(20, 24)
          .integer(10, 15).integer(23, 24).integer(8, 15).integer(11, 24).integer(11, 24)
          .integer(whole, 15).integer(16, 24).integer(2, 24).integer(0, 200).integer(10, 300).data())


def libraries_seeds():
    # The harness numbers the library conversions at run time (about 70);
    # the seeds spread texts of several scripts over the numbers.
    texts = [
        "日本語のテキスト、ｶﾀｶﾅ".encode("shift_jis"),
        "日本語のテキスト".encode("euc_jp"),
        "日本語 abc 漢字".encode("iso2022_jp"),
        "中文文本".encode("gb2312"),
        "繁體中文".encode("big5"),
        "한국어 텍스트".encode("euc_kr"),
        "Ελληνικά Кириллица".encode("utf-16-le" if sys.byteorder == "little" else "utf-16-be"),
        bytes(range(256)),
    ]
    for i, text in enumerate(texts):
        for selector in (i * 9 % 70, (i * 9 + 4) % 70):
            seed = Seed().bytes(text).integer(selector, 69).integer(len(text), 2048)
            for size in (5, 2, 9, 0):
                seed.integer(1, 3).integer(size, 16)
            write("libraries", "text%d_%d" % (i, selector), seed.data())


def fast_paths_seeds():
    # The harness numbers the built-in directions first (14), then the
    # table-driven library conversions; the seeds give each text to several
    # numbers, at every instruction-set level and room style.
    french = "Voilà l'été: où déjà? Ça coûte 5€ — «très» cher. " * 6
    japanese = "日本語のテキストと English words、カタカナ。" * 4
    texts = [
        french.encode("utf-8"),
        ucs2(french),
        ucs2(japanese),
        japanese.encode("utf-8"),
        french.encode("utf-7"),
        japanese.encode("utf-7"),
        ("A" * 100 + "é" + "B" * 70).encode("latin-1"),
        japanese.encode("shift_jis"),
        "한국어 텍스트 and ASCII".encode("euc_kr") * 5,
        "Кириллица и латиница".encode("cp1251") * 5,
    ]
    for i, text in enumerate(texts):
        for selector in (i, i + 7, 14 + i * 5):
            seed = (Seed().integer(selector, 80).integer(2, 2).integer(i % 4, 3)
                    .integer(i % 2, 255).integer(0x9E3779B9 * (i + 1) & 0xFFFFFFFF, 0xFFFFFFFF)
                    .bytes(text))
            write("fast_paths", "text%d_%d" % (i, selector), seed.data())


def detect_encodings_seeds():
    # First byte: how many candidates to ask for; then the buffer.
    texts = [
        "\ufeffGrüße".encode("utf-8"), "Grüße, мир".encode("utf-16"),
        "Les élèves à Besançon, l’été".encode("cp1252"), "Съешь ещё булок".encode("koi8_r"),
        "日本語のテキスト①".encode("cp932"), "中文简体文字丂".encode("gbk"),
        "繁體中文".encode("big5hkscs"), "한국어 똠".encode("cp949"),
        "日本語".encode("iso2022_jp"), "中文".encode("hz"), "été 日本".encode("utf-7"),
        "Καλημέρα".encode("utf-32-be"), "שלום עולם".encode("cp1255"),
    ]
    for i, text in enumerate(texts):
        write("detect_encodings", "sample%d" % i, bytes([1 + i % 12]) + text)


if __name__ == "__main__":
    converter_seeds()
    stream_seeds()
    registry_seeds()
    detection_seeds()
    sequence_seeds()
    libraries_seeds()
    fast_paths_seeds()
    detect_encodings_seeds()
