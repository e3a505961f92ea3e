"""The JIS X 0213 encodings of libnlsjapanese30.so: EUC-JIS-2004,
EUC-JISX0213 (its 2000 edition), Shift_JIS-2004, Shift_JISX0213,
ISO-2022-JP-2004 and ISO-2022-JP-3, and beside them ISO-2022-JP-EXT
(ISO-2022-JP-1 with JIS X 0201 Katakana).

They are tables of the generic multi-byte codec like the other CJK
encodings (cjk.py writes their tables and codecs into the library's files;
this module describes them and writes their registry section and oracle
rows). JIS X 0213 has characters above U+FFFF (surrogate pairs in the
pivot) and codes that stand for a base character and a combining mark (or
two tone letters): the decoder writes both, and the encoder holds such a
base character back until it sees the next character or the end of the
text. The EUC forms have only plane 2 after 0x8F (Python's codecs also
read and write JIS X 0212 there).
"""
import cjk
import cjk_peers
import oracle
import registry_files

SJIS_LEADS = [(0x81, 0x9F), (0xE0, 0xFC)]
SJIS_TRAILS = [(0x40, 0x7E), (0x80, 0xFC)]
EUC = [(0xA1, 0xFE)]


def ascii_kept(t):
    """Shift_JIS-2004 and Shift_JISX0213: bytes 0x5C and 0x7E are ASCII, as
    in this library's Shift_JIS and every other multi-byte encoding here
    (Python's codecs and glibc read them as U+00A5 and U+203E, JIS X 0201
    Roman); the pairs 0x815F and 0x81B0 are U+FF3C and U+FF5E, as in the EUC
    forms and in glibc (Python: U+005C, U+007E); U+00A5 and U+203E encode as
    0x5C and 0x7E (one-way)."""
    assert t.single[0x5C] == 0xA5 and t.single[0x7E] == 0x203E
    assert t.pairs[(0x81, 0x5F)] == (0x5C,) and t.pairs[(0x81, 0xB0)] == (0x7E,)
    t.single[0x5C], t.single[0x7E] = 0x5C, 0x7E
    t.pairs[(0x81, 0x5F)], t.pairs[(0x81, 0xB0)] = (0xFF3C,), (0xFF5E,)
    t.encode.update({0x5C: 0x5C, 0x7E: 0x7E, 0xFF3C: 0x815F, 0xFF5E: 0x81B0})
    assert t.encode[0xA5] == 0x5C and t.encode[0x203E] == 0x7E


# The rows of plane 2 of JIS X 0213 (EUC: the byte after 0x8F).
PLANE_2_ROWS = [0xA1, 0xA3, 0xA4, 0xA5, 0xA8] + cjk.spans((0xAC, 0xAF), (0xEE, 0xFE))


def plane_2_only(t):
    """The EUC forms: after 0x8F only the rows of plane 2 of JIS X 0213.
    Python's codecs also read and write JIS X 0212 in the other rows (the
    three-byte forms of EUC-JP), which JIS X 0213 does not have and glibc
    rejects; here those forms are ill-formed and the characters that only
    JIS X 0212 has are not in the encoding."""
    dropped = {(b2, b3) for (b2, b3) in t.three if b2 not in PLANE_2_ROWS}
    codes = {(b2 << 8 | b3) & 0x7F7F for b2, b3 in dropped}
    for key in dropped:
        del t.three[key]
    for cp, code in list(t.encode.items()):
        if code in codes:
            del t.encode[cp]


COMPOSING_NOTE = ("25 codes stand for two characters (kana with U+309A, IPA letters with "
                  "U+0300 or U+0301, two tone letters); the encoder holds the first back until "
                  "it sees the next character (or the end of the text) and writes the one code "
                  "when the second follows.")
EDITION_NOTE = ("The 2000 edition: without the ten characters JIS X 0213:2004 added to plane 1 "
                "(0xAEA1, 0xAFFE, 0xCFD4, 0xCFFE, 0xF4A7, 0xFEFA-0xFEFE in EUC) and with "
                "U+9B1D where the 2004 edition has U+9B1C (0x8FFDBB in EUC).")
EUC_NOTE = " ".join(plane_2_only.__doc__.split(": ", 1)[1].split())
SJIS_NOTE = " ".join(ascii_kept.__doc__.split(": ", 1)[1].split())

ENCODINGS = [
    cjk.Encoding("japanese", "EUC-JIS-2004", "EucJis2004", "euc_jis_2004", "EUCJIS2004",
                 [0x8E] + cjk.spans(*EUC), EUC, ["euc_jis_2004", "eucjis2004", "jisx0213"],
                 (None, None), form="three_composing", prefix_trails=cjk.spans(*EUC),
                 adjust=plane_2_only, notes=[COMPOSING_NOTE, EUC_NOTE]),
    cjk.Encoding("japanese", "EUC-JISX0213", "EucJisx0213", "euc_jisx0213", "EUCJISX0213",
                 [0x8E] + cjk.spans(*EUC), EUC, ["euc_jisx0213", "eucjisx0213"], (None, None),
                 form="three_composing", prefix_trails=cjk.spans(*EUC), adjust=plane_2_only,
                 notes=[EDITION_NOTE]),
    cjk.Encoding("japanese", "Shift_JIS-2004", "ShiftJis2004", "shift_jis_2004", "SJIS2004",
                 SJIS_LEADS, SJIS_TRAILS,
                 ["shift_jis_2004", "shiftjis2004", "sjis_2004", "s_jis_2004"],
                 ("x-SJIS_0213", "SJIS_0213"), form="composing", adjust=ascii_kept,
                 notes=[SJIS_NOTE]),
    cjk.Encoding("japanese", "Shift_JISX0213", "ShiftJisx0213", "shift_jisx0213", "SJISX0213",
                 SJIS_LEADS, SJIS_TRAILS,
                 ["shift_jisx0213", "shiftjisx0213", "sjisx0213", "s_jisx0213"], (None, None),
                 form="composing", adjust=ascii_kept),
]

# Codecs written by hand, as cjk.HAND_WRITTEN describes them. ISO-2022-JP-3
# and -2004 write through the EUC codec of their edition (a base character
# held back, then up to two codes with their escape sequences); -EXT is a
# level of the ISO-2022-JP codec.
HAND_WRITTEN = [
    ("japanese", "ISO-2022-JP-3", "Iso2022Jp3", "ISO2022JP3",
     ["iso2022_jp_3", "iso2022jp-3", "iso2022jp3"], (None, None), "Iso2022Jp3Sets", 12,
     "NLS_CODEC_STATEFUL_ENCODER"),
    ("japanese", "ISO-2022-JP-2004", "Iso2022Jp3", "ISO2022JP2004",
     ["iso2022_jp_2004", "iso2022jp-2004", "iso2022jp2004"], (None, None), "Iso2022Jp2004Sets",
     12, "NLS_CODEC_STATEFUL_ENCODER"),
    ("japanese", "ISO-2022-JP-EXT", "Iso2022Jp", "ISO2022JPEXT",
     ["iso2022_jp_ext", "iso2022jp-ext", "iso2022jpext"], (None, None), "Iso2022JpExtSets", 6,
     "NLS_CODEC_STATEFUL_ENCODER"),
]

# The Python codecs of the hand-written codecs, and where they differ from
# them.
def _escapes(codec, chars=(), why=""):
    return {"bytes": [bytes([0x1B, b]) for b in range(256) if b not in b"($"],
            "chars": [0x1B] + list(chars),
            "why": why + f"Python's {codec} reads an ESC that starts no known escape sequence as "
                         "the character U+001B and writes U+001B as a bare ESC; this library "
                         "rejects both (a bare ESC would start an escape sequence). " + cjk.ERRORS}


HAND_WRITTEN_PYTHON = {
    "ISO-2022-JP-3": ("iso2022_jp_3", _escapes(
        "iso2022_jp_3", [0x9B1D],
        "Python's iso2022_jp_3 writes U+9B1D as 0x7D3B of plane 2 (the 2000 edition) but reads "
        "0x7D3B as U+9B1C (the 2004 edition); this library reads and writes U+9B1D there, as "
        "EUC-JISX0213 does. ")),
    "ISO-2022-JP-2004": ("iso2022_jp_2004", _escapes("iso2022_jp_2004")),
    "ISO-2022-JP-EXT": ("iso2022_jp_ext", _escapes("iso2022_jp_ext")),
}

# The peers' names (glibc iconv, ICU). glibc's EUC-JISX0213 and
# SHIFT_JISX0213 follow the 2004 edition. glibc's ISO-2022-JP-3 is left out:
# it mixes the editions (it reads and writes plane 1 of 2004 with ESC $ ( Q
# and JIS X 0201 Katakana with ESC ( I, which Python's iso2022_jp_3 rejects)
# and stays in plane 1 for the JIS X 0208 characters after a code of it
# (Python and this library go back to ESC $ B), so its bytes are not
# comparable; glibc has no ISO-2022-JP-2004 or -EXT, ICU none of these.
PEER_NAMES = {
    "EUC-JIS-2004": ("EUC-JISX0213", None),
    "EUC-JISX0213": ("EUC-JISX0213", None),
    "Shift_JIS-2004": ("SHIFT_JISX0213", None),
    "Shift_JISX0213": ("SHIFT_JISX0213", None),
    "ISO-2022-JP-3": (None, None),
    "ISO-2022-JP-2004": (None, None),
    "ISO-2022-JP-EXT": (None, None),
}

# Where glibc (2.36) differs, measured over every single byte, every pair
# with a lead byte from 0x80, every three-byte form after 0x8F and every
# character of the BMP and plane 2 (runs as in cjk_peers.py), and why.
_MAPPING = ("glibc maps 0xA1BD to U+2014 and 0xA2D6, 0xA2D7 to U+FF5F, U+FF60 (Python and this "
            "library: U+2015, U+2985, U+2986; in Shift_JIS 0x815C, 0x81D4, 0x81D5)")
_EDITION = ("; glibc has the 2004 edition: the ten characters it added to plane 1 and U+9B1C "
            "at 0x8FFDBB (in Shift_JIS 0xFC5A), where the 2000 edition has U+9B1D")
_ASCII = ("; glibc reads 0x5C and 0x7E as U+00A5 and U+203E (JIS X 0201 Roman), which this "
          "library writes as 0x5C and 0x7E one-way")
GLIBC = {
    "EUC-JIS-2004": ("A1BD A2D6-A2D7", "2014-2015 2985-2986 FF5F-FF60", _MAPPING),
    "EUC-JISX0213": (
        "A1BD A2D6-A2D7 AEA1 AFFE CFD4 CFFE F4A7 FEFA-FEFE 8FFDBB",
        "2014-2015 2985-2986 4FF1 525D 541E 5653 59F8 5C5B 5E77 7626 7E6B 9B1C-9B1D FF5F-FF60 "
        "20B9F", _MAPPING + _EDITION),
    "Shift_JIS-2004": ("5C 7E 815C 81D4-81D5", "005C 007E 00A5 2014-2015 203E 2985-2986 FF5F-FF60",
                       _MAPPING + _ASCII),
    "Shift_JISX0213": (
        "5C 7E 815C 81D4-81D5 879F 889E 9873 989E EAA5 EFF8-EFFC FC5A",
        "005C 007E 00A5 2014-2015 203E 2985-2986 4FF1 525D 541E 5653 59F8 5C5B 5E77 7626 7E6B "
        "9B1C-9B1D FF5F-FF60 20B9F", _MAPPING + _EDITION + _ASCII),
}


def generate(out_dir):
    """The tables and codecs are in the library's files (cjk.py)."""


def generated_files():
    return []


def registry_section():
    section = registry_files.Section("JIS X 0213 encodings of libnlsjapanese30.so",
                                     "the JIS X 0213 encodings")
    rows = [(e.name, e.stem, e.aliases, e.java) for e in ENCODINGS]
    rows += [(h[1], h[3], h[4], h[5]) for h in HAND_WRITTEN]
    for name, stem, aliases, java in rows:
        section.conversion("libnlsjapanese30.so", name, "nlsjapanese",
                           f"NEW{stem}TOUNICODEENCODINGCONVERTER",
                           f"NEWUNICODETO{stem}ENCODINGCONVERTER")
        for a in aliases:
            section.alias(a, name)
        section.java(name, *java)
    return section


def glibc_differences(name):
    if name not in GLIBC:
        return None
    byte_runs, char_runs, why = GLIBC[name]
    return {"bytes": cjk_peers.parse(byte_runs, False), "chars": cjk_peers.parse(char_runs, True),
            "why": why}


def oracle_rows():
    rows = []
    for enc in ENCODINGS:
        glibc, icu = PEER_NAMES[enc.name]
        python = cjk.python_differences(enc)
        if not python["bytes"] and not python["chars"]:
            python = {"ends": True, "why": cjk.ERRORS}
        differences = {"python": python}
        d = glibc_differences(enc.name)
        if d:
            differences["glibc"] = d
        rows.append(oracle.Oracle(enc.name, enc.codec, glibc, icu, stateful=True,
                                  differences=differences))
    for h in HAND_WRITTEN:
        glibc, icu = PEER_NAMES[h[1]]
        python, departures = HAND_WRITTEN_PYTHON[h[1]]
        rows.append(oracle.Oracle(h[1], python, glibc, icu, stateful=True,
                                  differences={"python": departures}))
    return rows
