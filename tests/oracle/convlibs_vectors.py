"""Reference data for the converter libraries, made with Python's codecs.

UCS-2 is written little-endian (both target machines are). Files, per Python
codec name <c>:

  convlibs_<c>.decode  records <u32 n><n bytes><u32 m><m bytes of UCS-2>:
      every single byte 0x01-0xFF, every pair (lead 0x80-0xFF, trail
      0x01-0xFF) for multi-byte encodings and, for EUC-JP, every 0x8F b1 b2
      (b1, b2 0x01-0xFF); decoded with an error handler that turns one byte
      into U+FFFD and goes on with the next byte.
  convlibs_<c>.encode  records <u16 character><u8 n><n bytes>: every BMP
      character that the codec encodes (strict), in ascending order.

ISO-2022-JP (codec iso2022_jp):

  convlibs_iso2022_jp.decode  records <u16 JIS code><u16 character or 0>:
      every pair 0x21-0x7E x 0x21-0x7E read after ESC $ B; 0 when the codec
      rejects it.
  convlibs_iso2022_jp.encode  as above: ESC sequences and the final ESC ( B
      included, exactly as the codec writes one character.
  convlibs_iso2022_jp.texts   records <u32 n><UCS-2><u32 m><ISO-2022-JP>:
      random texts mixing ASCII, controls, U+00A5, U+203E and JIS X 0208.

End-to-end samples:

  convlibs_samples    records <u32 n><codec name><u32 m><text in the
      encoding><u32 k><the same text in UTF-8>: per encoding, words of ASCII
      and lines of random characters that the codec encodes and decodes back
      to themselves (one record per codec, ISO-2022-JP included).

Zero bytes are left out of every input: a 0 byte ends the input of the table
engine, which the tests check on their own.
"""
import codecs
import random
import struct
import sys

SINGLE_BYTE = [
    "cp1250", "cp1251", "cp1252", "cp1253", "cp1254", "cp1255", "cp1256", "cp1257", "cp1258",
    "iso8859_2", "iso8859_3", "iso8859_4", "iso8859_5", "iso8859_6", "iso8859_7", "iso8859_8",
    "iso8859_9", "iso8859_10", "iso8859_11", "iso8859_13", "iso8859_14", "iso8859_15",
    "iso8859_16", "koi8_r", "koi8_u", "cp437", "cp850", "cp866",
]
MULTI_BYTE = ["shift_jis", "euc_jp", "gb2312", "big5", "euc_kr"]


def one_byte_replace(err):
    return "\ufffd", err.start + 1


codecs.register_error("convlibs_one_byte", one_byte_replace)


def ucs2(text):
    return text.encode("utf-16-le")


def write_decode(out_dir, codec, inputs):
    with open(f"{out_dir}/convlibs_{codec}.decode", "wb") as f:
        for data in inputs:
            text = ucs2(data.decode(codec, "convlibs_one_byte"))
            f.write(struct.pack("<I", len(data)) + data + struct.pack("<I", len(text)) + text)


def write_encode(out_dir, codec):
    with open(f"{out_dir}/convlibs_{codec}.encode", "wb") as f:
        for cp in range(0x10000):
            try:
                data = chr(cp).encode(codec)
            except UnicodeEncodeError:
                continue
            f.write(struct.pack("<HB", cp, len(data)) + data)


def decode_inputs(codec):
    yield from (bytes([b]) for b in range(1, 256))
    if codec in MULTI_BYTE:
        for lead in range(0x80, 0x100):
            yield from (bytes([lead, t]) for t in range(1, 256))
    if codec == "euc_jp":
        for b1 in range(1, 256):
            yield from (bytes([0x8F, b1, b2]) for b2 in range(1, 256))


def iso2022jp(out_dir, rng):
    with open(f"{out_dir}/convlibs_iso2022_jp.decode", "wb") as f:
        for hi in range(0x21, 0x7F):
            for lo in range(0x21, 0x7F):
                try:
                    text = (b"\x1b$B" + bytes([hi, lo]) + b"\x1b(B").decode("iso2022_jp")
                    value = ord(text) if len(text) == 1 else 0
                except UnicodeDecodeError:
                    value = 0
                f.write(struct.pack("<HH", hi << 8 | lo, value))
    write_encode(out_dir, "iso2022_jp")
    kanji = []
    for cp in range(0x80, 0x10000):
        try:
            if chr(cp).encode("iso2022_jp").startswith(b"\x1b$B"):
                kanji.append(chr(cp))
        except UnicodeEncodeError:
            pass
    with open(f"{out_dir}/convlibs_iso2022_jp.texts", "wb") as f:
        for _ in range(300):
            chars = []
            for _ in range(rng.randint(0, 60)):
                kind = rng.random()
                if kind < 0.3:
                    chars.append(chr(rng.randint(0x20, 0x7E)))
                elif kind < 0.35:
                    chars.append(rng.choice("\n\r\t"))
                elif kind < 0.42:
                    chars.append(rng.choice("\u00a5\u203e"))
                else:
                    # Runs of kanji, so that sets change both often and rarely.
                    chars.extend(rng.choice(kanji) for _ in range(rng.randint(1, 5)))
            text = "".join(chars)
            data = text.encode("iso2022_jp")
            u = ucs2(text)
            f.write(struct.pack("<I", len(u)) + u + struct.pack("<I", len(data)) + data)


def samples(out_dir, rng):
    with open(f"{out_dir}/convlibs_samples", "wb") as f:
        for codec in SINGLE_BYTE + MULTI_BYTE + ["iso2022_jp"]:
            chars = []
            for cp in range(0xA0, 0x10000):
                try:
                    data = chr(cp).encode(codec)
                except UnicodeEncodeError:
                    continue
                # Characters that read back as themselves: no one-way codes,
                # no EUC-KR eight-byte compositions.
                try:
                    if data.decode(codec) == chr(cp) and not (codec == "euc_kr" and len(data) > 2):
                        chars.append(chr(cp))
                except UnicodeDecodeError:
                    pass
            lines = []
            for _ in range(8):
                words = ["nlscnv", "sample", codec]
                words += ["".join(rng.choice(chars) for _ in range(rng.randint(1, 12)))
                          for _ in range(6)]
                lines.append(" ".join(words))
            text = "\n".join(lines) + "\n"
            for block in (codec.encode("ascii"), text.encode(codec), text.encode("utf-8")):
                f.write(struct.pack("<I", len(block)) + block)


def main(out_dir):
    for codec in SINGLE_BYTE + MULTI_BYTE:
        write_decode(out_dir, codec, decode_inputs(codec))
        write_encode(out_dir, codec)
    iso2022jp(out_dir, random.Random(20261123))
    samples(out_dir, random.Random(20261124))


if __name__ == "__main__":
    main(sys.argv[1])
