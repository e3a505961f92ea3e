"""The table-driven converter library (single-byte encodings): its mapping
tables, table lists and factories, and its registry records, from Python's
codecs. The CJK libraries are described in cjk.py.

Every encoding below is described once: its canonical name, the Python codec
that defines it, its table slots (table id, first-byte range, byte scheme),
its factory names, aliases and Java names. From that the script derives

  libs/<library>/<library>_tables.h    table ids and table declarations
  libs/<library>/<library>_tables.cpp  mapping tables, table lists, table
                                       sets, resource map and factories
  data/conv30/{encreg,aliasreg,javareg}.txt
                                       the section of these libraries'
                                       records (the rest of each file is
                                       kept; records it already holds are
                                       not repeated)

A slot's to-UCS-2 table holds every byte sequence of the slot that the codec
decodes to one character; its from-UCS-2 table holds every character whose
encoding (as the codec's encoder writes it) the slot's byte scheme spells.
Both directions are therefore exactly the codec's, one-way mappings
included; the few places where a table departs from the codec are listed in
the encoding's `notes` and in the generated source.

Table ids: the engine picks a slot's byte scheme from the low six bits of
its table id. Ids used here (a multiple of 64 plus the scheme's residue):
  1038 + 64k  single-byte sets     single byte (residue 14)

Mapping-table cells: each table is cut into cells by dynamic programming over
its sorted codes so that the table is as small as possible: a format-0 cell
(3 words) covers a run of consecutive codes whose values are consecutive too,
a format-1 cell (3 words plus one word per code of its range, 0xFFFD for
holes) covers anything else, a format-2 cell (3 words) a single code. Cells
are disjoint and sorted by their first code.
"""
import os
import sys

import oracle
import registry_files
import single_byte

UCS2 = "ISO-10646-UCS-2"
NOT_MAPPED = 0xFFFD

# ---- byte schemes ----------------------------------------------------------

# Residues of table ids (id % 64) per byte scheme of the engine.
SCHEME_RESIDUES = {
    "sb": {0, 1, 2, 6, 10, 11, *range(14, 24), 29, *range(39, 47)},
    "sjis": {4},
    "big5": {7, 37},
    "gr": {8, 12, 24, 26, 28, 31},
    "kana": {27},
    "x0212": {30},
}


class Scheme:
    """How a slot spells codes as bytes. `sequences` yields every byte
    sequence that the slot can scan (one per code); `code_of` gives the code
    that the slot scans from a byte sequence, or None when the slot's shift
    table would not produce exactly those bytes for any code."""

    def __init__(self, name):
        self.name = name

    def sequences(self, first, last):
        n = self.name
        if n == "sb":
            for b in range(first, last + 1):
                yield bytes([b])
        elif n == "sjis":
            for b in list(range(0x00, 0x80)) + list(range(0xA1, 0xE0)):
                yield bytes([b])
            for lead in list(range(0x81, 0xA0)) + list(range(0xE0, 0xFD)):
                for trail in range(0x40, 0xFD):
                    yield bytes([lead, trail])
        elif n == "big5":
            for b in range(0x00, 0x80):
                yield bytes([b])
            for lead in range(0xA1, 0xFF):
                for trail in range(0x40, 0xFF):
                    yield bytes([lead, trail])
        elif n == "gr":
            for lead in range(max(first, 0xA1), min(last, 0xFE) + 1):
                for trail in range(0xA1, 0xFF):
                    yield bytes([lead, trail])
        elif n == "kana":
            for b in range(0xA1, 0xFF):
                yield bytes([0x8E, b])
        elif n == "x0212":
            for b1 in range(0xA1, 0xFF):
                for b2 in range(0xA1, 0xFF):
                    yield bytes([0x8F, b1, b2])
        else:
            raise ValueError(n)

    def code_of(self, seq):
        n = self.name
        if n == "sb":
            return seq[0] if len(seq) == 1 else None
        if n == "sjis":
            if len(seq) == 1 and (seq[0] < 0x80 or 0xA1 <= seq[0] <= 0xDF):
                return seq[0]
            if len(seq) == 2 and (0x81 <= seq[0] <= 0x9F or 0xE0 <= seq[0] <= 0xFC):
                if 0x40 <= seq[1] <= 0xFC:
                    return seq[0] << 8 | seq[1]
            return None
        if n == "big5":
            if len(seq) == 1 and seq[0] < 0x80:
                return seq[0]
            if len(seq) == 2 and 0xA1 <= seq[0] <= 0xFE and 0x40 <= seq[1] <= 0xFE:
                return seq[0] << 8 | seq[1]
            return None
        if n == "gr":
            if len(seq) == 2 and seq[0] >= 0x80 and seq[1] >= 0x80:
                return (seq[0] << 8 | seq[1]) & 0x7F7F
            return None
        if n == "kana":
            if len(seq) == 2 and seq[0] == 0x8E and 0xA1 <= seq[1] <= 0xDF:
                return seq[1]
            return None
        if n == "x0212":
            if len(seq) == 3 and seq[0] == 0x8F and seq[1] >= 0x80 and seq[2] >= 0x80:
                return (seq[1] << 8 | seq[2]) & 0x7F7F
            return None
        raise ValueError(n)


# ---- encodings ---------------------------------------------------------------


class Slot:
    def __init__(self, table_id, first, last, scheme, label, files):
        self.table_id = table_id
        self.first = first
        self.last = last
        self.scheme = Scheme(scheme)
        self.label = label  # C++ name stem of the slot's tables
        self.files = files  # resource file stem
        residue = table_id % 64
        assert residue in SCHEME_RESIDUES[scheme], (table_id, scheme)
        assert table_id not in (2, 6), table_id


class Encoding:
    def __init__(self, library, name, codec, stem, set_id, slots, from_factor, aliases, java,
                 extra_decodings=None, notes=()):
        self.library = library
        self.name = name
        self.codec = codec
        self.stem = stem  # factory names: NEW<stem>TOUNICODE..., NEWUNICODETO<stem>...
        self.set_id = set_id
        self.slots = slots
        self.from_factor = from_factor
        self.aliases = aliases
        self.java = java
        self.extra_decodings = extra_decodings or {}
        self.notes = notes

    @property
    def to_factory(self):
        return f"NEW{self.stem}TOUNICODEENCODINGCONVERTER"

    @property
    def from_factory(self):
        return f"NEWUNICODETO{self.stem}ENCODINGCONVERTER"


def ascii_slot():
    return Slot(257, 0x00, 0x7F, "sb", "Ascii", "ASCII")


JIS0208 = Slot(282, 0xA1, 0xFE, "gr", "JisX0208", "JIS0208")

SINGLE_BYTE = [
    # canonical name, codec, factory stem, aliases, Java names (java.nio, java.io)
    ("windows-1250", "cp1250", "CP1250", ["cp1250", "x-cp1250", "cswindows1250"],
     ("windows-1250", "Cp1250")),
    ("windows-1251", "cp1251", "CP1251", ["cp1251", "x-cp1251", "cswindows1251"],
     ("windows-1251", "Cp1251")),
    ("windows-1252", "cp1252", "CP1252", ["cp1252", "x-cp1252", "cswindows1252"],
     ("windows-1252", "Cp1252")),
    ("windows-1253", "cp1253", "CP1253", ["cp1253", "x-cp1253", "cswindows1253"],
     ("windows-1253", "Cp1253")),
    ("windows-1254", "cp1254", "CP1254", ["cp1254", "x-cp1254", "cswindows1254"],
     ("windows-1254", "Cp1254")),
    ("windows-1255", "cp1255", "CP1255", ["cp1255", "x-cp1255", "cswindows1255"],
     ("windows-1255", "Cp1255")),
    ("windows-1256", "cp1256", "CP1256", ["cp1256", "x-cp1256", "cswindows1256"],
     ("windows-1256", "Cp1256")),
    ("windows-1257", "cp1257", "CP1257", ["cp1257", "x-cp1257", "cswindows1257"],
     ("windows-1257", "Cp1257")),
    ("windows-1258", "cp1258", "CP1258", ["cp1258", "x-cp1258", "cswindows1258"],
     ("windows-1258", "Cp1258")),
    ("ISO_8859-2:1987", "iso8859_2", "ISO88592",
     ["iso-ir-101", "ISO_8859-2", "ISO-8859-2", "iso8859-2", "iso8859_2", "latin2", "l2",
      "csISOLatin2"], ("ISO-8859-2", "ISO8859_2")),
    ("ISO_8859-3:1988", "iso8859_3", "ISO88593",
     ["iso-ir-109", "ISO_8859-3", "ISO-8859-3", "iso8859-3", "iso8859_3", "latin3", "l3",
      "csISOLatin3"], ("ISO-8859-3", "ISO8859_3")),
    ("ISO_8859-4:1988", "iso8859_4", "ISO88594",
     ["iso-ir-110", "ISO_8859-4", "ISO-8859-4", "iso8859-4", "iso8859_4", "latin4", "l4",
      "csISOLatin4"], ("ISO-8859-4", "ISO8859_4")),
    ("ISO_8859-5:1988", "iso8859_5", "ISO88595",
     ["iso-ir-144", "ISO_8859-5", "ISO-8859-5", "iso8859-5", "iso8859_5", "cyrillic",
      "csISOLatinCyrillic"], ("ISO-8859-5", "ISO8859_5")),
    ("ISO_8859-6:1987", "iso8859_6", "ISO88596",
     ["iso-ir-127", "ISO_8859-6", "ISO-8859-6", "iso8859-6", "iso8859_6", "ECMA-114",
      "ASMO-708", "arabic", "csISOLatinArabic"], ("ISO-8859-6", "ISO8859_6")),
    ("ISO_8859-7:1987", "iso8859_7", "ISO88597",
     ["iso-ir-126", "ISO_8859-7", "ISO-8859-7", "iso8859-7", "iso8859_7", "ELOT_928",
      "ECMA-118", "greek", "greek8", "csISOLatinGreek"], ("ISO-8859-7", "ISO8859_7")),
    ("ISO_8859-8:1988", "iso8859_8", "ISO88598",
     ["iso-ir-138", "ISO_8859-8", "ISO-8859-8", "iso8859-8", "iso8859_8", "hebrew",
      "csISOLatinHebrew"], ("ISO-8859-8", "ISO8859_8")),
    ("ISO_8859-9:1989", "iso8859_9", "ISO88599",
     ["iso-ir-148", "ISO_8859-9", "ISO-8859-9", "iso8859-9", "iso8859_9", "latin5", "l5",
      "csISOLatin5"], ("ISO-8859-9", "ISO8859_9")),
    ("ISO-8859-10", "iso8859_10", "ISO885910",
     ["iso-ir-157", "ISO_8859-10:1992", "ISO_8859-10", "iso8859-10", "iso8859_10", "latin6",
      "l6", "csISOLatin6"], ()),
    ("ISO-8859-11", "iso8859_11", "ISO885911",
     ["ISO_8859-11", "iso8859-11", "iso8859_11"], ("x-iso-8859-11",)),
    ("ISO-8859-13", "iso8859_13", "ISO885913",
     ["ISO_8859-13", "iso8859-13", "iso8859_13", "latin7", "l7", "csISO885913"], ("ISO-8859-13", "ISO8859_13")),
    ("ISO-8859-14", "iso8859_14", "ISO885914",
     ["iso-ir-199", "ISO_8859-14:1998", "ISO_8859-14", "iso8859-14", "iso8859_14", "latin8",
      "l8", "iso-celtic", "csISO885914"], ()),
    ("ISO-8859-15", "iso8859_15", "ISO885915",
     ["ISO_8859-15", "iso8859-15", "iso8859_15", "Latin-9", "latin9", "l9", "csISO885915"],
     ("ISO-8859-15", "ISO8859_15")),
    ("ISO-8859-16", "iso8859_16", "ISO885916",
     ["iso-ir-226", "ISO_8859-16:2001", "ISO_8859-16", "iso8859-16", "iso8859_16", "latin10",
      "l10", "csISO885916"], ("ISO-8859-16", "ISO8859_16")),
    ("KOI8-R", "koi8_r", "KOI8R", ["koi8r", "koi8_r", "csKOI8R"], ("KOI8-R", "KOI8_R")),
    ("KOI8-U", "koi8_u", "KOI8U", ["koi8u", "koi8_u", "csKOI8U"], ("KOI8-U", "KOI8_U")),
    ("IBM437", "cp437", "IBM437", ["cp437", "437", "csPC8CodePage437"], ("IBM437", "Cp437")),
    ("IBM850", "cp850", "IBM850", ["cp850", "850", "csPC850Multilingual"], ("IBM850", "Cp850")),
    ("IBM866", "cp866", "IBM866", ["cp866", "866", "csIBM866"], ("IBM866", "Cp866")),
]


def single_byte_encodings():
    out = []
    for k, (name, codec, stem, aliases, java) in enumerate(SINGLE_BYTE):
        table_id = 1038 + 64 * k
        slot = Slot(table_id, 0x00, 0xFF, "sb", stem.capitalize(), stem)
        out.append(Encoding("singlebyte", name, codec, stem, table_id, [slot], 1, aliases, java))
    return out


ENCODINGS = single_byte_encodings()

LIBRARIES = ["singlebyte"]
LIBRARY_NAMES = {lib: f"nls{lib}" for lib in LIBRARIES}

# ---- tables from the codecs -------------------------------------------------


def decode_one(seq, codec):
    try:
        text = seq.decode(codec)
    except UnicodeDecodeError:
        return None
    if len(text) != 1 or ord(text) > 0xFFFF or ord(text) == NOT_MAPPED:
        return None
    return ord(text)


def encode_one(cp, codec):
    try:
        return chr(cp).encode(codec)
    except UnicodeEncodeError:
        return None


def build_maps(enc):
    """Returns, per slot, (to-UCS-2 map code -> char, from-UCS-2 map char -> code)."""
    to_maps = []
    for slot in enc.slots:
        m = {}
        for seq in slot.scheme.sequences(slot.first, slot.last):
            ch = decode_one(seq, enc.codec)
            if ch is None:
                ch = ord(enc.extra_decodings[seq]) if seq in enc.extra_decodings else None
            if ch is not None:
                code = slot.scheme.code_of(seq)
                assert code is not None and code not in m, (enc.name, seq)
                m[code] = ch
        to_maps.append(m)
    from_maps = [{} for _ in enc.slots]
    for cp in range(0x10000):
        seq = encode_one(cp, enc.codec)
        if seq is None:
            continue
        for i, slot in enumerate(enc.slots):
            if slot.first <= seq[0] <= slot.last and slot.scheme.code_of(seq) is not None:
                from_maps[i][cp] = slot.scheme.code_of(seq)
                break
        # Sequences no slot spells (EUC-KR compositions) stay unmapped.
    return to_maps, from_maps


def make_cells(mapping):
    """Cuts a code -> value map into the smallest list of disjoint cells.
    Returns a list of (format, first, last, values)."""
    keys = sorted(mapping)
    n = len(keys)
    if n == 0:
        return []
    cell, word = 13, 4  # costs in quarter words: a cell is 3.25 words
    best = [0] * (n + 1)
    choice = [None] * (n + 1)
    run_start = 0
    min1, min1_at = best[0] - word * keys[0], 0
    for j in range(1, n + 1):
        t = j - 1
        if t > 0:
            contiguous = keys[t] == keys[t - 1] + 1
            same = (mapping[keys[t]] - keys[t]) % 65536 == (mapping[keys[t - 1]] - keys[t - 1]) % 65536
            if not (contiguous and same):
                run_start = t
        # best is non-decreasing, so the cheapest format-0 cell starts at run_start.
        cost0 = best[run_start] + cell
        cost1 = min1 + word * keys[t] + word + cell
        if cost0 <= cost1:
            best[j], choice[j] = cost0, (0, run_start)
        else:
            best[j], choice[j] = cost1, (1, min1_at)
        if j < n and best[j] - word * keys[j] < min1:
            min1, min1_at = best[j] - word * keys[j], j
    cells = []
    j = n
    while j > 0:
        fmt, i = choice[j]
        first, last = keys[i], keys[j - 1]
        if fmt == 0 and first == last:
            cells.append((2, first, first, [mapping[first]]))
        elif fmt == 0:
            cells.append((0, first, last, [mapping[first]]))
        else:
            cells.append((1, first, last,
                          [mapping.get(k, NOT_MAPPED) for k in range(first, last + 1)]))
        j = i
    cells.reverse()
    return cells


def table_words(mapping):
    cells = make_cells(mapping)
    n = len(cells)
    fmt_off = 4
    cell_off = fmt_off + (n + 3) // 4
    map_off = cell_off + 3 * n
    formats = [0] * ((n + 3) // 4)
    cell_words, array = [], []
    for j, (fmt, first, last, values) in enumerate(cells):
        formats[j // 4] |= fmt << (4 * (j % 4))
        if fmt == 0:
            cell_words += [first, last, values[0]]
        elif fmt == 1:
            cell_words += [first, last, len(array)]
            array += values
        else:
            cell_words += [first, 0, values[0]]
    words = [n, fmt_off, cell_off, map_off] + formats + cell_words + array
    assert len(words) < 65536
    counts = [sum(1 for c in cells if c[0] == f) for f in range(3)]
    return words, counts


def expand(words):
    """All 65536 results of the engine's lookup (first matching cell wins),
    to check the generated words against the map they were made from."""
    n, fmt_off, cell_off, map_off = words[:4]
    result = [NOT_MAPPED] * 65536
    for j in reversed(range(n)):
        fmt = (words[fmt_off + j // 4] >> (4 * (j % 4))) & 0xF
        first, last, value = words[cell_off + 3 * j: cell_off + 3 * j + 3]
        if fmt == 0:
            result[first:last + 1] = [(c - first + value) % 65536 for c in range(first, last + 1)]
        elif fmt == 1:
            result[first:last + 1] = words[map_off + value: map_off + value + last - first + 1]
        else:
            assert fmt == 2
            result[first] = value
    return result


def verify(words, mapping):
    expected = [NOT_MAPPED] * 65536
    for code, value in mapping.items():
        expected[code] = value
    assert expand(words) == expected


# ---- output -------------------------------------------------------------------

HEADER = ("// Generated by libs/gen/gen_tables.py from Python's codecs; do not edit.\n"
          "// clang-format off\n")


def cpp_words(words):
    lines = []
    for i in range(0, len(words), 12):
        lines.append("    " + ", ".join(f"0x{w:04x}" for w in words[i:i + 12]) + ",")
    return "\n".join(lines)


def write_library(lib, encodings, out_dir, python_version):
    ns = f"nls_{lib}"
    guard = f"NLSCNV_LIBS_{lib.upper()}_{lib.upper()}_TABLES_H"
    tables = {}  # table id -> (label, to words, from words, to counts, from counts)
    notes = []
    for enc in encodings:
        to_maps, from_maps = build_maps(enc)
        for slot, tm, fm in zip(enc.slots, to_maps, from_maps):
            if slot.table_id in tables:
                assert tables[slot.table_id][5] == (tm, fm), slot.table_id
                continue
            tw, tc = table_words(tm)
            fw, fc = table_words(fm)
            verify(tw, tm)
            verify(fw, fm)
            tables[slot.table_id] = (slot, tw, fw, tc, fc, (tm, fm))
        for note in enc.notes:
            notes.append(f"{enc.name}: {note}")

    h = [HEADER.replace("// clang-format off\n", ""),
         f"// Mapping tables of lib{LIBRARY_NAMES[lib]}30.so.\n",
         f"#ifndef {guard}\n#define {guard}\n\n#include \"nlscnv/converter.h\"\n\n",
         f"namespace {ns} {{\n\n"]
    for tid in sorted(tables):
        h.append(f"constexpr uint16_t k{tables[tid][0].label}TableId = {tid};\n")
    h.append("\n")
    for tid in sorted(tables):
        label = tables[tid][0].label
        h.append(f"extern const uint16_t k{label}ToUcs2[];\n")
        h.append(f"extern const uint16_t k{label}FromUcs2[];\n")
    h.append("extern const UnicodeTableList kToUcs2Tables[];\n")
    h.append("extern const UnicodeTableList kFromUcs2Tables[];\n")
    h.append("extern const resourceMapTable kResourceMap[];\n\n")
    h.append(f"}}  // namespace {ns}\n\n#endif  // {guard}\n")

    c = [HEADER, f"// Python {python_version}.\n"]
    if notes:
        c.append("//\n// One-way mappings of the codecs, and where the tables depart from them:\n")
        for note in notes:
            c.append(f"// - {note}\n")
    c.append(f"#include \"{lib}/{lib}_tables.h\"\n\n#include <new>\n\n")
    c.append(f"namespace {ns} {{\n\n")
    for tid in sorted(tables):
        slot, tw, fw, tc, fc, _ = tables[tid]
        for direction, words, counts in (("ToUcs2", tw, tc), ("FromUcs2", fw, fc)):
            c.append(f"// {len(words)} words; cells: {counts[0]} ranges, {counts[1]} arrays, "
                     f"{counts[2]} single codes.\n")
            c.append(f"const uint16_t k{slot.label}{direction}[] = {{\n{cpp_words(words)}\n}};\n\n")
    for direction in ("ToUcs2", "FromUcs2"):
        c.append(f"const UnicodeTableList k{direction}Tables[] = {{\n")
        for tid in sorted(tables):
            c.append(f"    {{k{tables[tid][0].label}TableId, k{tables[tid][0].label}{direction}}},\n")
        c.append("    {0, nullptr},\n};\n\n")
    c.append("const resourceMapTable kResourceMap[] = {\n")
    for tid in sorted(tables):
        f = tables[tid][0].files
        c.append(f"    {{k{tables[tid][0].label}TableId, {{\"{f}.UF\", nullptr, nullptr, nullptr}}, "
                 f"{{\"{f}.UT\", nullptr, nullptr, nullptr}}}},\n")
    c.append("    {0, {nullptr, nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr}},\n"
             "};\n\n")
    c.append("namespace {\n\n")
    for enc in encodings:
        slots = []
        for slot in enc.slots:
            slots.append(f"{{k{slot.label}TableId, 0x{slot.first:02x}, 0x{slot.last:02x}}}")
        while len(slots) < 4:
            slots.append("{0, 0xff, 0x00}")
        c.append(f"const UnicodeTableSet k{enc.stem.capitalize()}Set = {{{enc.set_id}, {{"
                 + ", ".join(slots) + "}};\n")
    c.append("\nTEncodingConverter* NewTableConverter(const char* source, const char* destination,\n"
             "                                      const UnicodeTableSet* set, unsigned short sizeFactor,\n"
             "                                      char fromUnicode) {\n"
             "  return new (std::nothrow)\n"
             "      TEncodingConverter(source, destination, set, kFromUcs2Tables, kToUcs2Tables, set->setId,\n"
             "                         sizeFactor, kResourceMap, 0, fromUnicode);\n"
             "}\n\n")
    for enc in encodings:
        c.append(f"const char k{enc.stem.capitalize()}Name[] = \"{enc.name}\";\n")
    c.append(f"const char kUcs2Name[] = \"{UCS2}\";\n\n}}  // namespace\n}}  // namespace {ns}\n\n")
    c.append(f"using namespace {ns};\n\nextern \"C\" {{\n\n")
    for enc in encodings:
        s = enc.stem.capitalize()
        c.append(f"NLS_EXPORT TEncodingConverter* {enc.to_factory}() {{\n"
                 f"  return NewTableConverter(k{s}Name, kUcs2Name, &k{s}Set, 2, 0);\n}}\n\n")
        c.append(f"NLS_EXPORT TEncodingConverter* {enc.from_factory}() {{\n"
                 f"  return NewTableConverter(kUcs2Name, k{s}Name, &k{s}Set, {enc.from_factor}, 1);\n}}\n\n")
    c.append("}  // extern \"C\"\n")

    lib_dir = os.path.join(out_dir, "libs", lib)
    os.makedirs(lib_dir, exist_ok=True)
    with open(os.path.join(lib_dir, f"{lib}_tables.h"), "w") as f:
        f.write("".join(h))
    with open(os.path.join(lib_dir, f"{lib}_tables.cpp"), "w") as f:
        f.write("".join(c))


# The strict codecs of these encodings: tables of the generic single-byte
# codec (include/nlscnv/single_byte.h) beside the table engine's, which the
# legacy factories keep using. Each byte decodes as the Python codec decodes
# it alone; each character encodes as the first byte that decodes as it.

# glibc iconv's names; None where glibc reads and writes otherwise on purpose.
GLIBC_NAMES = {codec: name for codec, name in (
    [(f"cp125{k}", f"CP125{k}") for k in range(9)] +
    [(f"iso8859_{k}", f"ISO-8859-{k}") for k in (2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16)] +
    [("koi8_r", "KOI8-R"), ("koi8_u", "KOI8-U"), ("cp437", "IBM437"), ("cp850", "IBM850"),
     ("cp866", "IBM866")])}
# glibc's windows-1255 and windows-1258 compose a base letter and the
# combining marks after it into one character when reading, and write a
# precomposed letter as base and mark: not a mapping of single bytes.
GLIBC_NAMES["cp1255"] = GLIBC_NAMES["cp1258"] = None


def ident(enc):
    return "k" + enc.stem.capitalize() + "Codec"


def codecs_source(lib, encodings, version):
    c = [HEADER,
         f"// The strict codecs of libnls{lib}30.so: a table of the generic single-byte\n"
         f"// codec per encoding. Python {version}.\n\n"
         "#include \"nlscnv/single_byte.h\"\n\n",
         f"namespace nls_{lib} {{\nnamespace {{\n\n"]
    for enc in encodings:
        to, frm = single_byte.from_codec(enc.codec, enc.name)
        c.append(f"// {enc.name}\n" + single_byte.table_source(ident(enc), to, frm) + "\n")
    c.append(single_byte.codec_list_source(
        f"nls_{lib}", [(e.name, ident(e), "NLS_CODEC_RESYNC_AT_LINE_FEED | NLS_CODEC_STATELESS_DECODER")
                       for e in encodings]))
    c.append("}  // extern \"C\"\n")
    return "".join(c)


def generate(out_dir):
    version = ".".join(str(v) for v in sys.version_info[:2])
    for lib in LIBRARIES:
        encodings = [e for e in ENCODINGS if e.library == lib]
        write_library(lib, encodings, out_dir, version)
        with open(os.path.join(out_dir, "libs", lib, f"{lib}_codecs.cpp"), "w") as f:
            f.write(codecs_source(lib, encodings, version))


def generated_files():
    files = []
    for lib in LIBRARIES:
        files += [f"libs/{lib}/{lib}_tables.h", f"libs/{lib}/{lib}_tables.cpp",
                  f"libs/{lib}/{lib}_codecs.cpp"]
    return files


# Conversions that are not table-driven: (library, canonical name, factory
# stem, aliases, Java name).
ALGORITHMIC = []


def registry_section():
    """The records of these libraries in the three registry files."""
    conversions = [(e.library, e.name, e.stem, e.aliases, e.java) for e in ENCODINGS] + ALGORITHMIC
    conversions.sort(key=lambda r: LIBRARIES.index(r[0]))
    section = registry_files.Section(
        "Converter library libnlssinglebyte30.so", "the single-byte converter library")
    for lib, name, stem, aliases, java in conversions:
        library = LIBRARY_NAMES[lib]
        section.conversion(f"lib{library}30.so", name, library,
                           f"NEW{stem}TOUNICODEENCODINGCONVERTER",
                           f"NEWUNICODETO{stem}ENCODINGCONVERTER")
        for a in aliases:
            section.alias(a, name)
        section.java(name, *java)
    return section


def oracle_rows():
    # Python's codecs and glibc agree with these tables on every byte and
    # every character of the Basic Multilingual Plane (measured with glibc
    # 2.36); ICU is left out (its IBM tables exchange control codes).
    return [oracle.Oracle(e.name, e.codec, GLIBC_NAMES[e.codec]) for e in ENCODINGS]
