"""Reference data for the byte schemes of the table engine, made with
Python's codecs: UTF-8 for every 16-bit unit, and the Shift_JIS character
set in both directions.

Output (all integers little-endian):
  utf8_bmp.bin: for each unit 0x0000-0xFFFF, one length byte and the UTF-8
    bytes (lone surrogates as three-byte forms, 'surrogatepass').
  sjis_decode.bin: (u16 code, u16 character) for every one- or two-byte
    sequence that decodes to one character; the code is the bytes read as a
    big-endian number.
  sjis_encode.bin: (u16 character, u16 code) for every BMP character that
    encodes.
"""
import struct
import sys


def sjis_decode_pairs():
    pairs = []
    for b in list(range(0x00, 0x80)) + list(range(0xA1, 0xE0)):
        pairs.append((b, ord(bytes([b]).decode("shift_jis"))))
    for lead in list(range(0x81, 0xA0)) + list(range(0xE0, 0xFD)):
        for trail in range(0x40, 0x100):
            try:
                text = bytes([lead, trail]).decode("shift_jis")
            except UnicodeDecodeError:
                continue
            if len(text) == 1 and ord(text) <= 0xFFFF:
                pairs.append((lead << 8 | trail, ord(text)))
    return pairs


def sjis_encode_pairs():
    pairs = []
    for u in range(0x10000):
        if 0xD800 <= u <= 0xDFFF:
            continue
        try:
            data = chr(u).encode("shift_jis")
        except UnicodeEncodeError:
            continue
        pairs.append((u, int.from_bytes(data, "big")))
    return pairs


def main(out_dir):
    with open(f"{out_dir}/utf8_bmp.bin", "wb") as out:
        for u in range(0x10000):
            data = chr(u).encode("utf-8", "surrogatepass")
            out.write(bytes([len(data)]) + data)
    with open(f"{out_dir}/sjis_decode.bin", "wb") as out:
        for code, ch in sjis_decode_pairs():
            out.write(struct.pack("<HH", code, ch))
    with open(f"{out_dir}/sjis_encode.bin", "wb") as out:
        for ch, code in sjis_encode_pairs():
            out.write(struct.pack("<HH", ch, code))


if __name__ == "__main__":
    main(sys.argv[1])
