#!/usr/bin/env python3
"""Prints the C++ data of the two MacRoman mapping tables.

The character set is Mac OS Roman as Python's mac_roman codec has it, in the
older form that the library keeps: 0xDB is U+00A4 CURRENCY SIGN, 0xBD is
U+2126 OHM SIGN, and 0x7F is not mapped. The from-UCS-2 table uses a fixed
cell layout (ranges through the mapping array where characters cluster,
single codes elsewhere); the script checks that the layout covers exactly the
255 mapped characters.

Usage: scripts/gen_macroman_tables.py > /tmp/out.txt, then paste the arrays
into nlscnv/framework/builtin_tables.cpp.
"""

UNMAPPED = 0xFFFD

# (format, first, last) of the from-UCS-2 cells; format 2 cells have no last.
FROM_CELLS = [
    (0, 0x0000, 0x007E),
    (1, 0x00A0, 0x00FF),
    (2, 0x0131, None),
    (1, 0x0152, 0x0153),
    (2, 0x0178, None),
    (2, 0x0192, None),
    (1, 0x02C6, 0x02C7),
    (1, 0x02D8, 0x02DD),
    (2, 0x03C0, None),
    (1, 0x2013, 0x2044),
    (1, 0x2122, 0x2126),
    (1, 0x2202, 0x221E),
    (2, 0x222B, None),
    (2, 0x2248, None),
    (1, 0x2260, 0x2265),
    (2, 0x25CA, None),
    (2, 0xF8FF, None),
    (1, 0xFB01, 0xFB02),
]


def byte_to_char():
    table = {}
    for b in range(256):
        if b == 0x7F:
            continue
        table[b] = ord(bytes([b]).decode("mac_roman"))
    table[0xDB] = 0x00A4
    table[0xBD] = 0x2126
    return table


def pack_formats(formats):
    words = []
    for i in range(0, len(formats), 4):
        w = 0
        for k, f in enumerate(formats[i : i + 4]):
            w |= f << (4 * k)
        words.append(w)
    return words


def build_table(cells, mapping):
    """cells: list of (format, first, last, value)."""
    n = len(cells)
    fmt_words = pack_formats([c[0] for c in cells])
    fmt_off = 4
    cell_off = fmt_off + len(fmt_words)
    map_off = cell_off + 3 * n
    words = [n, fmt_off, cell_off, map_off] + fmt_words
    for _, first, last, value in cells:
        words += [first, last, value]
    return words + mapping


def to_table(b2c):
    assert all(b2c[b] == b for b in range(0x7F))
    mapping = [b2c.get(b, UNMAPPED) for b in range(0x80, 0x100)]
    return build_table([(0, 0x00, 0x7E, 0x0000), (1, 0x80, 0xFF, 0)], mapping)


def from_table(b2c):
    c2b = {c: b for b, c in b2c.items()}
    assert len(c2b) == 255
    covered = set()
    cells, mapping = [], []
    for fmt, first, last, in FROM_CELLS:
        if fmt == 0:
            for c in range(first, last + 1):
                assert c2b[c] == c
                covered.add(c)
            cells.append((0, first, last, 0))
        elif fmt == 1:
            cells.append((1, first, last, len(mapping)))
            for c in range(first, last + 1):
                mapping.append(c2b.get(c, UNMAPPED))
                if c in c2b:
                    covered.add(c)
            # A range must not start or end on an unmapped character.
            assert first in c2b and last in c2b
        else:
            cells.append((2, first, 0, c2b[first]))
            covered.add(first)
    assert covered == set(c2b), sorted(hex(c) for c in set(c2b) - covered)
    assert len(cells) == 18 and len(mapping) == 198
    return build_table(cells, mapping)


def emit(name, words):
    print(f"const uint16_t {name}[] = {{")
    for i in range(0, len(words), 10):
        print("    " + ", ".join(f"0x{w:04x}" for w in words[i : i + 10]) + ",")
    print("};")


def main():
    b2c = byte_to_char()
    emit("macromanToTbl", to_table(b2c))
    emit("macromanFromTbl", from_table(b2c))


if __name__ == "__main__":
    main()
