"""C++ tables of the generic single-byte codec (nlscnv/single_byte.h)."""

UNDEFINED = 0xFFFF


def table_source(ident, to_unicode, from_unicode=None, static=True):
    """The definition of an NLS_SingleByteTable named `ident`.

    to_unicode: 256 entries, a code point or None (byte not defined).
    from_unicode: code point -> byte; by default the inverse of to_unicode
    (the first byte wins for a character with two bytes).
    """
    if from_unicode is None:
        from_unicode = {}
        for b, c in enumerate(to_unicode):
            if c is not None:
                from_unicode.setdefault(c, b)
    assert all(c < 0x10000 for c in from_unicode)
    pages = {}
    for c, b in from_unicode.items():
        pages.setdefault(c >> 8, [0] * 256)[c & 0xFF] = b
    order = sorted(pages)
    assert len(order) < 255
    page_of = [0] * 256
    for k, hi in enumerate(order):
        page_of[hi] = k + 1
    ascii_identity = all(to_unicode[b] == b for b in range(0x80)) and all(
        from_unicode.get(b) == b for b in range(0x80))
    linkage = "static " if static else ""
    out = [f"{linkage}const uint8_t {ident}PageOf[256] = {{\n"]
    out += rows(page_of, 16, "{}")
    out.append("};\n")
    out.append(f"{linkage}const uint8_t {ident}Pages[{len(order) + 1}][256] = {{\n    {{0}},\n")
    for hi in order:
        out.append(f"    // U+{hi:02X}xx\n    {{\n")
        out += ["  " + r for r in rows(pages[hi], 16, "0x{:02x}")]
        out.append("    },\n")
    out.append("};\n")
    out.append(f"const NLS_SingleByteTable {ident} = {{\n    {{\n")
    out += ["  " + r for r in rows([UNDEFINED if c is None else c for c in to_unicode], 8,
                                    "0x{:04x}")]
    out.append(f"    }},\n    {ident}PageOf, {ident}Pages, {1 if ascii_identity else 0}}};\n")
    return "".join(out)


def rows(values, per_row, fmt):
    return ["    " + ", ".join(fmt.format(v) for v in values[i:i + per_row]) + ",\n"
            for i in range(0, len(values), per_row)]
