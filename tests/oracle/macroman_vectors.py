"""MacRoman reference data made with Python's mac_roman codec.

The library keeps the older form of Mac OS Roman: 0xDB is U+00A4 CURRENCY
SIGN (the codec has U+20AC), 0xBD is U+2126 OHM SIGN (the codec has U+03A9)
and 0x7F is not mapped in either direction.

Output:
  macroman_decode.bin: 256 little-endian 16-bit units, the character of each
    byte; 0xFFFD where the byte is not mapped.
  macroman_encode.bin: 65536 bytes, the byte of each 16-bit unit; characters
    that have no byte give 0x3F "?", except U+0000-U+0020, which keep their
    low byte.
"""
import struct
import sys

OVERRIDES = {0xDB: 0x00A4, 0xBD: 0x2126, 0x7F: None}


def decode_byte(b):
    if b in OVERRIDES:
        return OVERRIDES[b]
    return ord(bytes([b]).decode("mac_roman"))


def main(out_dir):
    chars = [decode_byte(b) for b in range(256)]
    with open(f"{out_dir}/macroman_decode.bin", "wb") as out:
        out.write(struct.pack("<256H", *[0xFFFD if c is None else c for c in chars]))

    encode = bytearray()
    for u in range(0x10000):
        if 0xD800 <= u <= 0xDFFF:
            byte = None  # lone surrogates have no byte
        else:
            try:
                byte = chr(u).encode("mac_roman")[0]
            except UnicodeEncodeError:
                byte = None
        if byte is not None and byte in OVERRIDES:
            byte = None  # the codec's character for an overridden byte
        if u in (0x00A4, 0x2126):
            byte = chars.index(u)
        if byte is None:
            byte = u if u <= 0x20 else 0x3F
        encode.append(byte)
    with open(f"{out_dir}/macroman_encode.bin", "wb") as out:
        out.write(bytes(encode))


if __name__ == "__main__":
    main(sys.argv[1])
