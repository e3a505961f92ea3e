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


def from_codec(codec, label):
    """(byte -> character or None, character -> byte) of a Python codec:
    each byte as the codec decodes it alone; each character as the first
    byte that decodes as it."""
    to = []
    for b in range(256):
        try:
            text = bytes([b]).decode(codec)
        except UnicodeDecodeError:
            text = None
        assert text is None or (len(text) == 1 and ord(text) < 0xFFFD), (label, b)
        to.append(None if text is None else ord(text))
    return to, first_bytes(to)


def first_bytes(to_unicode):
    """Character -> the first byte that decodes as it."""
    frm = {}
    for b, c in enumerate(to_unicode):
        if c is not None:
            frm.setdefault(c, b)
    return frm


def codec_list_source(namespace, entries):
    """The codec list of a library (`kCodecs`, ended by a null name) and its
    NLS_CodecList30. entries: (canonical name, table identifier,
    properties)."""
    out = ["const NLS_Codec kCodecs[] = {\n"]
    for name, ident, props in entries:
        out.append(f"    {{\"{name}\", NLS_SingleByteDecode, NLS_SingleByteEncode, &{ident}, 1,\n"
                   f"     {props}}},\n")
    out.append("    {nullptr, nullptr, nullptr, nullptr, 0, 0},\n};\n\n")
    out.append(f"}}  // namespace\n}}  // namespace {namespace}\n\nusing {namespace}::kCodecs;\n\n"
               "extern \"C\" {\n\n"
               "NLS_EXPORT const NLS_Codec* NLS_CodecList30(void) { return kCodecs; }\n\n")
    return "".join(out)


def rows(values, per_row, fmt):
    return ["    " + ", ".join(fmt.format(v) for v in values[i:i + per_row]) + ",\n"
            for i in range(0, len(values), per_row)]
