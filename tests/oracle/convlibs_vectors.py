"""Reference data for the converter libraries, made with Python's codecs.

UCS-2 is written little-endian (both target machines are). Files, per Python
codec name <c> of the single-byte library (table-driven):

  convlibs_<c>.decode  records <u32 n><n bytes><u32 m><m bytes of UCS-2>:
      every single byte 0x01-0xFF, decoded with an error handler that turns
      one byte into U+FFFD and goes on with the next byte.
  convlibs_<c>.encode  records <u16 character><u8 n><n bytes>: every BMP
      character that the codec encodes (strict), in ascending order.

End-to-end samples:

  convlibs_samples    records <u32 n><codec name><u32 m><text in the
      encoding><u32 k><the same text in UTF-8>: per encoding, words of ASCII
      and lines of random characters that the codec encodes and decodes back
      to themselves, and that the library maps as the codec does (one record
      per codec, the CJK and Unicode libraries' included; the encodings of the
      single-byte codec libraries under their canonical names).

Zero bytes are left out of every input: a 0 byte ends the input of the table
engine, which the tests check on their own. The CJK encodings are compared
with Python's codecs, glibc and ICU by the differential tests (tests/strict/).
"""
import codecs
import os
import random
import struct
import sys

import strict_vectors  # registers the oracle's x_user_defined codec; glibc's codecs

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(
    os.path.abspath(__file__)))), "libs", "gen"))
import single_byte_encodings  # noqa: E402

SINGLE_BYTE = [
    "cp1250", "cp1251", "cp1252", "cp1253", "cp1254", "cp1255", "cp1256", "cp1257", "cp1258",
    "iso8859_2", "iso8859_3", "iso8859_4", "iso8859_5", "iso8859_6", "iso8859_7", "iso8859_8",
    "iso8859_9", "iso8859_10", "iso8859_11", "iso8859_13", "iso8859_14", "iso8859_15",
    "iso8859_16", "koi8_r", "koi8_u", "cp437", "cp850", "cp866",
]
# The Unicode library's forms; for the ones Python lacks, the codec that
# writes the same bytes for text of the Basic Multilingual Plane (the samples
# are made of such text).
UNICODE = ["utf_16", "utf_16_be", "utf_16_le", "utf_32", "utf_32_be", "utf_32_le", "ucs_2_be",
           "ucs_2_le", "cesu_8"]
UNICODE_BMP = {"ucs_2_be": "utf_16_be", "ucs_2_le": "utf_16_le", "cesu_8": "utf_8"}
MULTI_BYTE = ["shift_jis", "euc_jp", "gb2312", "big5", "euc_kr", "cp932", "gbk", "gb18030", "cp950",
              "big5hkscs", "cp949", "johab"]
MULTI_BYTE += ["euc_jis_2004", "euc_jisx0213", "shift_jis_2004", "shift_jisx0213"]

# Characters that the CJK libraries write otherwise than the codec, on
# purpose (libs/gen/cjk.py): windows-31j writes the IBM extensions where
# Python's cp932 writes the NEC-selected ones (lead bytes 0xED, 0xEE), and
# GB18030 is the 2022 edition (the characters of its 19 swapped codes).
GB18030_SWAPPED = set(
    "\ue7c7\u1e3f\ue78d\ue78e\ue78f\ue790\ue791\ue792\ue793\ue794\ue795\ue796"
    "\ufe10\ufe11\ufe12\ufe13\ufe14\ufe15\ufe16\ufe17\ufe18\ufe19"
    "\ue81e\ue826\ue82b\ue82c\ue832\ue843\ue854\ue864"
    "\u9fb4\u9fb5\u9fb6\u9fb7\u9fb8\u9fb9\u9fba\u9fbb")


# JIS X 0213 (libs/gen/jisx0213.py): the EUC forms have only plane 2 after
# 0x8F (Python's codecs also JIS X 0212), and the Shift_JIS forms keep 0x5C
# and 0x7E as ASCII.
JISX0213_PLANE_2 = {0xA1, 0xA3, 0xA4, 0xA5, 0xA8} | set(range(0xAC, 0xB0)) | set(range(0xEE, 0xFF))

HEADER_KR = b"\x1b$)C"


# Encodings Python lacks: samples from glibc's iconv (sample name -> glibc
# name), as the differential tests take it for them (libs/gen/cns.py).
GLIBC = {"euc_tw": "EUC-TW", "iso2022_cn": "ISO-2022-CN", "iso2022_cn_ext": "ISO-2022-CN-EXT"}


def maps_as_the_codec(codec, ch, data):
    if codec.startswith("euc_jis"):  # JIS X 0212 after 0x8F is not JIS X 0213
        return data[0] != 0x8F or data[1] in JISX0213_PLANE_2
    if codec in ("shift_jis_2004", "shift_jisx0213"):
        return ch not in "\u00a5\u203e"  # 0x5C and 0x7E are ASCII
    if codec == "cp932":
        return data[0] not in (0xED, 0xEE)
    if codec == "gb18030":
        return ch not in GB18030_SWAPPED
    if codec == "x_nls_glibc_euc_tw":
        return not data.startswith(b"\x8e\xaf")  # glibc's plane 15, left out here
    if codec.startswith("x_nls_glibc_iso_2022_cn"):
        # GB2312 only: with other sets glibc places shifts and designations
        # otherwise (libs/gen/cns.py); the differential tests cover them.
        return data.startswith(b"\x1b$)A")
    return True


def one_byte_replace(err):
    return "\ufffd", err.start + 1


codecs.register_error("convlibs_one_byte", one_byte_replace)


def first_byte_encoder(codec):
    """A single-byte codec's encoder that writes, for a character several
    bytes decode as, the first of them (as glibc, ICU and this library do;
    Python's encoders write the last)."""
    table = {}
    for b in range(256):
        try:
            table.setdefault(bytes([b]).decode(codec), bytes([b]))
        except UnicodeDecodeError:
            pass
    return lambda text: b"".join(table[ch] for ch in text)


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


def samples(out_dir, rng):
    # (what the test calls the sample, Python codec)
    sampled = [(c, c)
               for c in SINGLE_BYTE + MULTI_BYTE
               + ["iso2022_jp", "iso2022_jp_1", "iso2022_jp_2", "iso2022_kr", "hz"]
               + ["iso2022_jp_3", "iso2022_jp_2004", "iso2022_jp_ext"] + UNICODE]
    sampled += [(e.name, e.codec) for e in single_byte_encodings.ENCODINGS]
    sampled += [(label, strict_vectors.glibc_codec(name)) for label, name in GLIBC.items()]
    with open(f"{out_dir}/convlibs_samples", "wb") as f:
        for label, key in sampled:
            codec = UNICODE_BMP.get(key, key)
            single = key in SINGLE_BYTE or (label != key and label not in GLIBC)
            encode = first_byte_encoder(codec) if single else lambda text: text.encode(codec)
            chars = []
            for cp in range(0xA0, 0x10000):
                try:
                    data = chr(cp).encode(codec)
                except UnicodeEncodeError:
                    continue
                # Characters that read back as themselves: no one-way codes,
                # no EUC-KR eight-byte compositions.
                try:
                    if data.decode(codec) == chr(cp) and not (codec == "euc_kr" and len(data) > 2) \
                            and maps_as_the_codec(codec, chr(cp), data):
                        chars.append(chr(cp))
                except UnicodeDecodeError:
                    pass
            lines = []
            for _ in range(8):
                words = ["nlscnv", "sample", key]
                words += ["".join(rng.choice(chars) for _ in range(rng.randint(1, 12)))
                          for _ in range(6)]
                lines.append(" ".join(words))
            text = "\n".join(lines) + "\n"
            encoded = encode(text)
            if key == "iso2022_kr":
                # The header at the start of the text, where the library
                # writes it (Python's codec writes it before the first SO).
                encoded = HEADER_KR + encoded.replace(HEADER_KR, b"")
            for block in (label.encode("ascii"), encoded, text.encode("utf-8")):
                f.write(struct.pack("<I", len(block)) + block)


def main(out_dir):
    for codec in SINGLE_BYTE:
        write_decode(out_dir, codec, decode_inputs(codec))
        write_encode(out_dir, codec)
    samples(out_dir, random.Random(20261124))


if __name__ == "__main__":
    main(sys.argv[1])
