#!/usr/bin/env python3
"""Trains the language models of NLS_DetectEncodings and writes them as C++
tables (nlscnv/detection/detection_models.cpp).

    train_models.py            rewrite the generated file in the source tree
    train_models.py --out F    write it to F instead
    train_models.py --check    regenerate in memory and compare with the
                               committed file (exit 1 when stale; exit 77,
                               a skip, when the installed training packages
                               are not the versions the file was made from)

Training text is real prose from Debian packages: the translated manual
pages (manpages-XX) and the message catalogues of GTK 2, GLib, the desktop
settings schemas, the MIME type database and AppStream (CATALOG_PACKAGES);
catalogue entries left in English are skipped. The packages and their versions are
recorded in the generated file. Python's codecs turn the text into every
encoding a language is written in, so no table is typed by hand.

Single-byte model, per language L: the L's commonest letters (case folded)
form an alphabet; every character falls in a class (white space, ASCII
punctuation and digits, other symbols, a letter outside the alphabet,
control, or one letter of the alphabet). The model holds the cost of each
class after each class (a bigram over classes), the cost of upper or lower
case after the previous character's case, and, within the classes that
gather many characters, the cost of the character itself. Per (language,
encoding) pair a table gives every byte its class and character cost, so
the detector scores bytes without decoding them.

Multi-byte model, per CJK encoding family (encodings that share their byte
layout, base first, supersets after): one byte per two-byte code holds the
set of members that decode it and a 4-bit frequency bucket of its character
in the family's language; costs are the bucket's -ln p. A code that two
members read as different characters names the member whose character is
commoner in the training text.

Costs are in eighths of a natural logarithm (-8 ln p), capped at 255.
"""
import argparse
import codecs
import collections
import gzip
import itertools
import math
import os
import re
import struct
import subprocess
import sys
import unicodedata

HERE = os.path.dirname(os.path.abspath(__file__))
OUTPUT = os.path.join(HERE, "detection_models.cpp")

TEXT_LIMIT = 400_000       # characters of training text per language
CJK_TEXT_LIMIT = 1_500_000
ALPHABET = 59              # letters per language; with 5 classes: 64
CLASSES = 64
SPACE, PUNCT, SYMBOL, OTHER, CONTROL, FIRST_LETTER = 0, 1, 2, 3, 4, 5
UPPER = 0x40               # class flag in byte tables
UNDEFINED = 0xFF
SCALE = 8.0                # costs in 1/8 nat

CATALOG_PACKAGES = ["libgtk2.0-common", "libglib2.0-data", "gsettings-desktop-schemas",
                    "shared-mime-info", "appstream"]
CATALOG_DOMAINS = {"gtk20", "gtk20-properties", "glib20", "gsettings-desktop-schemas",
                   "shared-mime-info", "appstream"}

# Single-byte encodings: canonical name, Python codec, prior cost (1/8 nat;
# smaller is preferred when the text reads the same in several).
SINGLE_BYTE = [
    ("ISO_8859-1:1987", "latin_1", 0),
    ("windows-1252", "cp1252", 2),
    ("ISO-8859-15", "iso8859_15", 6),
    ("x-mac-roman", "mac_roman", 14),
    ("IBM850", "cp850", 14),
    ("IBM437", "cp437", 16),
    ("IBM860", "cp860", 18),
    ("IBM863", "cp863", 18),
    ("IBM865", "cp865", 18),
    ("IBM861", "cp861", 18),
    ("x-mac-iceland", "mac_iceland", 18),
    ("ISO-8859-10", "iso8859_10", 12),
    ("ISO-8859-14", "iso8859_14", 8),
    ("ISO_8859-3:1988", "iso8859_3", 12),
    ("windows-1250", "cp1250", 0),
    ("ISO_8859-2:1987", "iso8859_2", 4),
    ("IBM852", "cp852", 14),
    ("x-mac-ce", "mac_latin2", 16),
    ("ISO-8859-16", "iso8859_16", 10),
    ("x-mac-croatian", "mac_croatian", 18),
    ("x-mac-romanian", "mac_romanian", 18),
    ("windows-1251", "cp1251", 0),
    ("KOI8-R", "koi8_r", 2),
    ("KOI8-U", "koi8_u", 4),
    ("ISO_8859-5:1988", "iso8859_5", 8),
    ("IBM866", "cp866", 8),
    ("x-mac-cyrillic", "mac_cyrillic", 12),
    ("IBM855", "cp855", 16),
    ("IBM1125", "cp1125", 16),
    ("KZ-1048", "kz1048", 6),
    ("PTCP154", "ptcp154", 8),
    ("windows-1253", "cp1253", 0),
    ("ISO_8859-7:1987", "iso8859_7", 2),
    ("IBM737", "cp737", 14),
    ("IBM869", "cp869", 16),
    ("x-mac-greek", "mac_greek", 16),
    ("windows-1254", "cp1254", 2),
    ("ISO_8859-9:1989", "iso8859_9", 0),
    ("IBM857", "cp857", 14),
    ("x-mac-turkish", "mac_turkish", 16),
    ("windows-1255", "cp1255", 0),
    ("ISO_8859-8:1988", "iso8859_8", 2),
    ("IBM862", "cp862", 14),
    ("windows-1256", "cp1256", 0),
    ("ISO_8859-6:1987", "iso8859_6", 2),
    ("x-mac-arabic", "mac_arabic", 16),
    ("x-mac-farsi", "mac_farsi", 16),
    ("windows-1257", "cp1257", 0),
    ("ISO-8859-13", "iso8859_13", 2),
    ("ISO_8859-4:1988", "iso8859_4", 6),
    ("IBM775", "cp775", 14),
    ("windows-1258", "cp1258", 0),
    ("TIS-620", "tis_620", 0),
    ("windows-874", "cp874", 2),
    ("ISO-8859-11", "iso8859_11", 4),
]

VISUAL_ORDER = {"he"}
WESTERN = ["ISO_8859-1:1987", "windows-1252", "ISO-8859-15", "x-mac-roman", "IBM850", "IBM437"]
CENTRAL = ["windows-1250", "ISO_8859-2:1987", "IBM852", "x-mac-ce"]

# Languages: ISO 639-1 code, manual-page directories, catalogue locales, the
# encoding whose round trip shapes the training text (windows-1258 for
# Vietnamese: letters with combining tone marks), the encodings written in it.
LANGUAGES = [
    ("fr", ["fr"], ["fr"], None, WESTERN + ["IBM863"]),
    ("de", ["de"], ["de"], None, WESTERN),
    ("es", ["es"], ["es"], None, WESTERN),
    ("it", ["it"], ["it"], None, WESTERN),
    ("pt", ["pt_BR"], ["pt", "pt_BR"], None, WESTERN + ["IBM860"]),
    ("nl", ["nl"], ["nl"], None, WESTERN),
    ("sv", ["sv"], ["sv"], None, WESTERN),
    ("da", ["da"], ["da"], None, WESTERN + ["IBM865"]),
    ("nb", ["nb"], ["nb"], None, WESTERN + ["IBM865"]),
    ("fi", ["fi"], ["fi"], None, WESTERN),
    ("ca", [], ["ca"], None, WESTERN),
    ("is", [], ["is"], None, WESTERN[:3] + ["ISO-8859-10", "x-mac-iceland", "IBM861"]),
    ("ga", [], ["ga"], None, WESTERN[:3] + ["ISO-8859-14"]),
    ("cy", [], ["cy"], None, ["ISO-8859-14"]),
    ("eo", [], ["eo"], None, ["ISO_8859-3:1988"]),
    ("et", [], ["et"], None,
     ["windows-1257", "ISO-8859-13", "ISO_8859-4:1988", "ISO-8859-15", "windows-1252"]),
    ("lt", [], ["lt"], None, ["windows-1257", "ISO-8859-13", "ISO_8859-4:1988", "IBM775"]),
    ("lv", [], ["lv"], None, ["windows-1257", "ISO-8859-13", "ISO_8859-4:1988", "IBM775"]),
    ("pl", ["pl"], ["pl"], None, CENTRAL),
    ("cs", ["cs"], ["cs"], None, CENTRAL),
    ("sk", [], ["sk"], None, CENTRAL),
    ("hu", ["hu"], ["hu"], None, CENTRAL),
    ("sl", [], ["sl"], None, CENTRAL),
    ("hr", [], ["hr"], None, CENTRAL + ["x-mac-croatian"]),
    ("ro", ["ro"], ["ro"], None, CENTRAL + ["ISO-8859-16", "x-mac-romanian"]),
    ("ru", ["ru"], ["ru"], None,
     ["windows-1251", "KOI8-R", "ISO_8859-5:1988", "IBM866", "x-mac-cyrillic", "IBM855"]),
    ("uk", ["uk"], ["uk"], None,
     ["windows-1251", "KOI8-U", "ISO_8859-5:1988", "x-mac-cyrillic", "IBM1125"]),
    ("bg", [], ["bg"], None,
     ["windows-1251", "ISO_8859-5:1988", "IBM866", "x-mac-cyrillic", "KOI8-R"]),
    ("sr", ["sr"], ["sr"], None, ["windows-1251", "ISO_8859-5:1988", "x-mac-cyrillic"]),
    ("mk", ["mk"], ["mk"], None, ["windows-1251", "ISO_8859-5:1988", "x-mac-cyrillic"]),
    ("kk", [], ["kk"], None, ["KZ-1048", "PTCP154"]),
    ("el", ["el"], ["el"], None,
     ["windows-1253", "ISO_8859-7:1987", "IBM737", "IBM869", "x-mac-greek"]),
    ("tr", ["tr"], ["tr"], None,
     ["windows-1254", "ISO_8859-9:1989", "IBM857", "x-mac-turkish"]),
    ("he", [], ["he"], None, ["windows-1255", "ISO_8859-8:1988", "IBM862"]),
    ("ar", [], ["ar"], None, ["windows-1256", "ISO_8859-6:1987", "x-mac-arabic"]),
    ("fa", [], ["fa"], None, ["windows-1256", "x-mac-farsi"]),
    ("vi", ["vi"], ["vi"], "cp1258", ["windows-1258"]),
    ("th", [], ["th"], None, ["TIS-620", "windows-874", "ISO-8859-11"]),
]

# CJK families: kind, language, manual-page and catalogue directories,
# members (canonical name, codec, prior), base first.
FAMILIES = [
    ("sjis", "ja", ["ja"], ["ja"], [("Shift_JIS", "shift_jis", 0), ("windows-31j", "cp932", 2)]),
    ("eucjp", "ja", ["ja"], ["ja"],
     [("Extended_UNIX_Code_Packed_Format_for_Japanese", "euc_jp", 0)]),
    ("gb", "zh", ["zh_CN"], ["zh_CN"],
     [("GB2312", "gb2312", 0), ("GBK", "gbk", 2), ("GB18030", "gb18030", 4)]),
    ("big5", "zh", ["zh_TW"], ["zh_TW"],
     [("Big5", "big5", 0), ("windows-950", "cp950", 2), ("Big5-HKSCS", "big5hkscs", 4)]),
    ("kr", "ko", [], ["ko"], [("EUC-KR", "euc_kr", 0), ("windows-949", "cp949", 2)]),
]
LEAD_FIRST, LEAD_COUNT, TRAIL_FIRST, TRAIL_COUNT = 0x81, 126, 0x40, 192


# ---- training text ----------------------------------------------------------

def run(args):
    return subprocess.run(args, capture_output=True, text=True).stdout


def package_version(package):
    out = run(["dpkg-query", "-W", "-f=${Status}|${Version}", package])
    if "install ok installed" not in out:
        return None
    return out.split("|", 1)[1]


def package_files(package):
    return sorted(run(["dpkg", "-L", package]).split("\n"))


ROFF_TEXT_MACROS = {"B", "I", "BR", "IR", "RB", "RI", "BI", "IB", "SH", "SS", "SM", "SB", "Nm",
                    "Nd", "Ar", "Fl", "Em", "Sy", "Dq", "Pa"}


def roff_text(source):
    """The prose of a manual page: macro lines other than font changes and
    headings are dropped, escapes removed."""
    lines = []
    for line in source.split("\n"):
        if line.startswith((".", "'")):
            parts = line[1:].strip().split(None, 1)
            if not parts or parts[0] not in ROFF_TEXT_MACROS or len(parts) < 2:
                continue
            line = parts[1].replace('"', "")
        line = re.sub(r"\\f(\[[^\]]*\]|\(..|.)", "", line)
        line = re.sub(r"\\\*(\[[^\]]*\]|\(..|.)", "", line)
        line = re.sub(r"\\\((..)", " ", line)
        line = re.sub(r"\\s[-+]?\d", "", line)
        line = line.replace("\\-", "-").replace("\\e", "\\").replace("\\&", "")
        line = re.sub(r"\\.", " ", line)
        line = line.strip()
        if line:
            lines.append(line)
    return "\n".join(lines)


def mo_strings(path):
    """The translations of a GNU message catalogue, decoded by its charset;
    entries left as their English original are skipped."""
    with open(path, "rb") as f:
        data = f.read()
    if len(data) < 28:
        return []
    magic = struct.unpack("<I", data[:4])[0]
    order = "<" if magic == 0x950412DE else ">"
    _, count, orig_offset, trans_offset = struct.unpack(order + "4I", data[4:20])

    def entry(table, i):
        length, offset = struct.unpack(order + "2I", data[table + 8 * i:table + 8 * i + 8])
        return data[offset:offset + length]

    charset = "utf-8"
    out = []
    for i in range(count):
        raw = entry(trans_offset, i)
        if i == 0 and b"charset=" in raw:
            charset = raw.split(b"charset=")[1].split(b"\n")[0].strip().decode("ascii") or "utf-8"
            continue
        if raw == entry(orig_offset, i):
            continue
        try:
            text = raw.decode(charset)
        except (UnicodeDecodeError, LookupError):
            continue
        for form in text.split("\0"):
            form = re.sub(r"%(\d+\$)?[-+ #0-9.]*[a-zA-Z]", "", form)
            form = re.sub(r"<[^>]*>", "", form)
            form = re.sub(r"_(?=\w)", "", form)
            if form.strip():
                out.append(form.strip())
    return out


class Sources:
    """The training text of each language, read from the packages."""

    def __init__(self, manpage_dirs, locales):
        self.versions = {}
        self.man_files = collections.defaultdict(list)
        self.mo_files = collections.defaultdict(list)
        for directory in sorted(set(manpage_dirs)):
            package = "manpages-zh" if directory.startswith("zh") else \
                "manpages-" + directory.lower().replace("_", "-")
            version = package_version(package)
            self.versions[package] = version
            if version is None:
                continue
            for path in package_files(package):
                if path.startswith("/usr/share/man/%s/" % directory) and path.endswith(".gz"):
                    self.man_files[directory].append(path)
        for package in CATALOG_PACKAGES:
            version = package_version(package)
            self.versions[package] = version
            if version is None:
                continue
            for path in package_files(package):
                m = re.match(r"/usr/share/locale/([^/]+)/LC_MESSAGES/([^/]+)\.mo$", path)
                if m and m.group(1) in locales and m.group(2) in CATALOG_DOMAINS:
                    self.mo_files[m.group(1)].append(path)

    def missing(self):
        return sorted(p for p, v in self.versions.items() if v is None)

    def text(self, manpage_dirs, locales, limit):
        """Manual pages and catalogues, interleaved so that both kinds of prose
        count, up to `limit` characters."""
        parts = []
        for locale in locales:
            for path in self.mo_files[locale]:
                parts.append("\n".join(mo_strings(path)))
        mo_text = "\n".join(parts).replace("\ufffd", "")
        man_parts = []
        size = 0
        for directory in manpage_dirs:
            for path in self.man_files[directory]:
                with gzip.open(path, "rb") as f:
                    raw = f.read()
                try:
                    text = roff_text(raw.decode("utf-8")).replace("\ufffd", "")
                except UnicodeDecodeError:
                    continue
                man_parts.append(text)
                size += len(text)
                if size > limit:
                    break
        man_text = "\n".join(man_parts)
        if not man_text:
            return unicodedata.normalize("NFC", mo_text[:limit])
        half = limit // 2
        mo_part = mo_text[:half]
        return unicodedata.normalize("NFC", mo_part + "\n" + man_text[:limit - len(mo_part)])


def spellings(ch):
    """The character, then its canonical decomposition with every subset of
    its marks composed back into the letter (windows-1258 writes Vietnamese
    as letters with combining tone marks: a-breve plus a dot below)."""
    yield ch
    decomposed = unicodedata.normalize("NFD", ch)
    base, marks = decomposed[0], decomposed[1:]
    for r in range(len(marks), -1, -1):
        for kept in itertools.combinations(range(len(marks)), r):
            composed = unicodedata.normalize("NFC", base + "".join(marks[i] for i in kept))
            yield composed + "".join(m for i, m in enumerate(marks) if i not in kept)


def encode_char(ch, codec):
    """The bytes of the first spelling of the character the encoding holds,
    else None."""
    for form in spellings(ch):
        try:
            return form.encode(codec)
        except UnicodeEncodeError:
            continue
    return None


def round_trip(text, codec):
    """The text as its main encoding holds it: characters it cannot write are
    dropped, decomposed ones stay decomposed."""
    out = []
    cache = {}
    for ch in text:
        if ch not in cache:
            b = encode_char(ch, codec)
            cache[ch] = b.decode(codec) if b is not None else ""
        out.append(cache[ch])
    return "".join(out)


# ---- single-byte models -------------------------------------------------------

def is_letter(ch):
    return unicodedata.category(ch)[0] in "LM"


def fold(ch):
    low = ch.lower()
    return low if len(low) == 1 else ch


def base_class(ch):
    """The class of a character outside any alphabet."""
    if ch in " \t\n\r\f\v":
        return SPACE
    cat = unicodedata.category(ch)
    if ord(ch) < 0x80:
        return CONTROL if cat == "Cc" else (OTHER if is_letter(ch) else PUNCT)
    if is_letter(ch):
        return OTHER
    if cat in ("Cc", "Cn", "Co", "Cs"):
        return CONTROL
    return SYMBOL


def cost(p):
    return min(255, max(0, int(round(-math.log(p) * SCALE))))


class LanguageModel:
    def __init__(self, code, text):
        self.code = code
        letters = collections.Counter(fold(ch) for ch in text if is_letter(ch))
        ranked = sorted(letters.items(), key=lambda kv: (-kv[1], kv[0]))
        self.alphabet = [ch for ch, _ in ranked[:ALPHABET]]
        self.index = {ch: FIRST_LETTER + i for i, ch in enumerate(self.alphabet)}
        classes = []
        cases = []
        class_of = {}
        for ch in text:
            if ch not in class_of:
                f = fold(ch)
                c = self.index.get(f, base_class(ch)) if is_letter(ch) else base_class(ch)
                upper = is_letter(ch) and f != ch
                class_of[ch] = (c, 1 if upper else 0)
            c, u = class_of[ch]
            classes.append(c)
            cases.append(u)
        pairs = collections.Counter(zip(classes, classes[1:]))
        firsts = collections.Counter(classes[:-1])
        unigram = collections.Counter(classes)
        self.class_cost = [cost((unigram[c] + 0.5) / (len(classes) + 0.5 * CLASSES))
                           for c in range(CLASSES)]
        self.pair_cost = []
        alpha = 0.5
        for a in range(CLASSES):
            row_total = firsts[a] + alpha * CLASSES
            for b in range(CLASSES):
                self.pair_cost.append(cost((pairs[(a, b)] + alpha) / row_total))
        # Case: previous character lower letter / upper letter / not a letter.
        case_counts = collections.Counter()
        prev = 2
        for c, u in zip(classes, cases):
            letter = c >= FIRST_LETTER or c == OTHER
            if letter:
                case_counts[(prev, u)] += 1
                prev = u
            else:
                prev = 2
        self.case_cost = []
        for p in range(3):
            total = case_counts[(p, 0)] + case_counts[(p, 1)] + 2
            self.case_cost.append([cost((case_counts[(p, u)] + 1) / total) for u in range(2)])
        # Character cost inside the classes that gather many characters.
        self.char_counts = collections.Counter()
        self.class_counts = collections.Counter()
        for ch, n in collections.Counter(text).items():
            c = class_of[ch][0]
            if c < FIRST_LETTER:
                self.char_counts[fold(ch) if c == OTHER else ch] += n
                self.class_counts[c] += n

    def char_class(self, ch):
        """(class with UPPER flag, character cost) of one decoded character."""
        if is_letter(ch):
            f = fold(ch)
            c = self.index.get(f, OTHER)
            flag = UPPER if f != ch else 0
        else:
            c, f, flag = base_class(ch), ch, 0
        if c >= FIRST_LETTER:
            return c | flag, 0
        # Unseen characters share a small reserve: 256 possible per class.
        beta = 0.5
        p = (self.char_counts[f] + beta) / (self.class_counts[c] + beta * 256)
        return c | flag, cost(p)


def single_byte_tables(model, codec):
    classes, costs = [], []
    for b in range(256):
        try:
            ch = bytes([b]).decode(codec)
        except UnicodeDecodeError:
            classes.append(UNDEFINED)
            costs.append(255)
            continue
        c, k = model.char_class(ch)
        classes.append(c)
        costs.append(k)
    return classes, costs


# ---- multi-byte models --------------------------------------------------------

def decode_one(codec, raw):
    if codec == "euc_kr" and raw == b"\xa4\xd4":
        # The Hangul filler starts the eight-byte spelling of a syllable
        # outside KS X 1001 (filler, three jamo); Python decodes only the
        # whole sequence.
        return "\u3164"
    try:
        text = raw.decode(codec)
    except UnicodeDecodeError:
        return None
    return text if len(text) == 1 else None


def family_tables(kind, members, text):
    """Per code: member mask (bits 4-6), frequency bucket (bits 0-3), and
    bit 7 when the code names a member. Also the single-byte masks, bucket
    costs, ASCII costs and the list of (code, member) preferences."""
    freq = collections.Counter(text)
    total = sum(freq.values())
    ranked = [ch for ch, _ in sorted(freq.items(), key=lambda kv: (-kv[1], kv[0]))]
    # Buckets 1-15 by -ln p, evenly between the commonest character and
    # characters seen twice; bucket 0 holds the valid codes never seen.
    top = -math.log(freq[ranked[0]] / total)
    floor = -math.log(2 / total)
    step = (floor - top) / 15.0

    def bucket(ch):
        n = freq.get(ch, 0)
        if n < 2:
            return 0
        return min(15, 1 + int((-math.log(n / total) - top) / step))

    bucket_members = collections.defaultdict(list)
    table = [0] * (LEAD_COUNT * TRAIL_COUNT)
    decoded = {}
    for li in range(LEAD_COUNT):
        for ti in range(TRAIL_COUNT):
            raw = bytes([LEAD_FIRST + li, TRAIL_FIRST + ti])
            mask = 0
            chars = []
            for m, (_, codec, _) in enumerate(members):
                ch = decode_one(codec, raw)
                chars.append(ch)
                if ch is not None:
                    mask |= 1 << m
            if not mask:
                continue
            decoded[raw] = chars
            ch = next(c for c in chars if c is not None)
            table[li * TRAIL_COUNT + ti] = (mask << 4) | bucket(ch)
    singles = [0] * 128
    for b in range(0x80, 0x100):
        mask = 0
        ch = None
        for m, (_, codec, _) in enumerate(members):
            c = decode_one(codec, bytes([b]))
            if c is not None:
                mask |= 1 << m
                ch = ch or c
        if mask:
            lead_mask = 0
            if LEAD_FIRST <= b < LEAD_FIRST + LEAD_COUNT:
                row = table[(b - LEAD_FIRST) * TRAIL_COUNT:(b - LEAD_FIRST + 1) * TRAIL_COUNT]
                for v in row:
                    lead_mask |= v >> 4
            assert not (lead_mask & mask), "byte %02X both single and lead" % b
            singles[b - 0x80] = (mask << 4) | bucket(ch)
    # Codes that members read differently: the member with the commonest
    # reading wins when it is not the base.
    preferences = []
    for raw, chars in sorted(decoded.items()):
        readings = [c for c in chars if c is not None]
        if len(set(readings)) < 2 or chars[0] is None:
            continue
        best = max(range(len(chars)), key=lambda m: (freq.get(chars[m], 0) if chars[m] else -1, -m))
        if best != 0 and freq.get(chars[best], 0) > freq.get(chars[0], 0):
            preferences.append((raw[0] << 8 | raw[1], best))
            index = (raw[0] - LEAD_FIRST) * TRAIL_COUNT + raw[1] - TRAIL_FIRST
            table[index] |= 0x80
    unseen = sum(1 for v in table if v and not v & 0x0F)
    rare_mass = sum(n for n in freq.values() if n < 2) / total + 1e-4
    bucket_cost = [cost(rare_mass / max(1, unseen))]
    for k in range(1, 16):
        bucket_cost.append(cost(math.exp(-(top + (k - 0.5) * step))))
    ascii_cost = [cost((freq.get(chr(b), 0) + 0.5) / (total + 64)) for b in range(128)]
    return table, singles, bucket_cost, ascii_cost, preferences


def euc_jp_three_byte():
    bits = bytearray((94 * 94 + 7) // 8)
    for a in range(94):
        for b in range(94):
            if decode_one("euc_jp", bytes([0x8F, 0xA1 + a, 0xA1 + b])) is not None:
                i = a * 94 + b
                bits[i >> 3] |= 1 << (i & 7)
    return bits


# ---- output ---------------------------------------------------------------------

def c_bytes(values, indent="    ", per_line=20):
    lines = []
    for i in range(0, len(values), per_line):
        lines.append(indent + ", ".join(str(v) for v in values[i:i + per_line]) + ",")
    return "\n".join(lines)


def c_string(s):
    return '"' + s + '"'


def generate():
    man_dirs = [d for lang in LANGUAGES for d in lang[1]] + [d for fam in FAMILIES for d in fam[2]]
    locales = {l for lang in LANGUAGES for l in lang[2]} | {l for fam in FAMILIES for l in fam[3]}
    sources = Sources(man_dirs, locales)
    if sources.missing():
        return None, sources
    enc_index = {name: i for i, (name, _, _) in enumerate(SINGLE_BYTE)}
    codec_of = {name: codec for name, codec, _ in SINGLE_BYTE}
    out = []
    w = out.append
    w("// Generated by nlscnv/detection/train_models.py; do not edit.")
    w("// clang-format off")
    w("// Python %d.%d. Training packages:" % sys.version_info[:2])
    for package, version in sorted(sources.versions.items()):
        w("//   package %s %s" % (package, version))
    w('#include "nlscnv/detection/detection_models.h"')
    w("")
    w("namespace nls::detect::models {")
    w("")
    w("const SingleByteEncoding kSingleByteEncodings[] = {")
    for name, codec, prior in SINGLE_BYTE:
        decode = []
        for b in range(0x80, 0x100):
            try:
                decode.append(ord(bytes([b]).decode(codec)))
            except UnicodeDecodeError:
                decode.append(0xFFFF)
        w("    {%s, %d, {%s}}," % (c_string(name), prior, ", ".join("0x%04x" % v for v in decode)))
    w("};")
    w("const unsigned kSingleByteEncodingCount = %d;" % len(SINGLE_BYTE))
    w("")
    pair_lines = []
    lang_lines = []
    model_lines = []
    for li, (code, mdirs, locs, main_codec, encodings) in enumerate(LANGUAGES):
        text = sources.text(mdirs, locs, TEXT_LIMIT)
        if main_codec:
            text = round_trip(text, main_codec)
        if code in VISUAL_ORDER:
            # ISO-8859-8 text is often stored in visual order: learn both.
            text += "\n" + "\n".join(line[::-1] for line in text.split("\n"))
        model = LanguageModel(code, text)
        ascii_classes, ascii_costs = single_byte_tables(model, "ascii")
        pair_lines.append("const uint8_t kPairs_%s[%d] = {\n%s\n};" % (
            code, CLASSES * CLASSES, c_bytes(model.pair_cost, per_line=32)))
        lang_lines.append("    {%s, kPairs_%s, {%s}, {%s}, {%s}, {%s}}," % (
            c_string(code), code, ", ".join(str(v) for v in model.class_cost),
            ", ".join("{%d, %d}" % tuple(r) for r in model.case_cost),
            ", ".join(str(v) for v in ascii_classes[:128]),
            ", ".join(str(v) for v in ascii_costs[:128])))
        for name in encodings:
            classes, costs = single_byte_tables(model, codec_of[name])
            model_lines.append("    {%d, %d, {%s}, {%s}}, // %s %s" % (
                li, enc_index[name], ", ".join(str(v) for v in classes[128:]),
                ", ".join(str(v) for v in costs[128:]), code, name))
        w("// %s: %d characters; alphabet %s" % (code, len(text), "".join(model.alphabet)))
    w("")
    out.extend(pair_lines)
    w("")
    w("const Language kLanguages[] = {")
    out.extend(lang_lines)
    w("};")
    w("const unsigned kLanguageCount = %d;" % len(LANGUAGES))
    w("")
    w("const SingleByteModel kSingleByteModels[] = {")
    out.extend(model_lines)
    w("};")
    w("const unsigned kSingleByteModelCount = %d;" % len(model_lines))
    w("")
    family_lines = []
    for kind, lang, mdirs, locs, members in FAMILIES:
        text = sources.text(mdirs, locs, CJK_TEXT_LIMIT)
        table, singles, bucket_cost, ascii_cost, prefs = family_tables(kind, members, text)
        w("// %s: %d characters of training text" % (kind, len(text)))
        w("const uint8_t kCodes_%s[%d] = {\n%s\n};" % (kind, len(table), c_bytes(table, per_line=32)))
        w("const uint16_t kPreferences_%s[%d] = {%s};" % (
            kind, max(1, 2 * len(prefs)), ", ".join("0x%04x, %d" % p for p in prefs) or "0"))
        member_text = ", ".join("{%s, %d}" % (c_string(n), prior) for n, _, prior in members)
        family_lines.append(
            "    {%s, %s, kCodes_%s, {%s}, {%s}, {%s}, kPreferences_%s, %d, %d, {%s}}," % (
                c_string(kind), c_string(lang), kind, ", ".join(str(v) for v in singles),
                ", ".join(str(v) for v in bucket_cost), ", ".join(str(v) for v in ascii_cost),
                kind, len(prefs), len(members), member_text))
    w("const uint8_t kEucJpThreeByte[%d] = {\n%s\n};" % (
        (94 * 94 + 7) // 8, c_bytes(list(euc_jp_three_byte()), per_line=32)))
    w("")
    w("const MultiByteFamily kFamilies[] = {")
    out.extend(family_lines)
    w("};")
    w("const unsigned kFamilyCount = %d;" % len(FAMILIES))
    w("")
    w("}  // namespace nls::detect::models")
    return "\n".join(out) + "\n", sources


def recorded_versions(path):
    versions = {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            m = re.match(r"//   package (\S+) (.*)$", line)
            if m:
                versions[m.group(1)] = m.group(2)
            elif line.startswith("namespace"):
                break
    return versions


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--out", default=OUTPUT)
    parser.add_argument("--check", action="store_true")
    args = parser.parse_args()
    if args.check:
        wanted = recorded_versions(OUTPUT)
        installed = {p: package_version(p) for p in wanted}
        differ = {p: (v, installed[p]) for p, v in wanted.items() if installed[p] != v}
        if differ:
            print("different training data installed; cannot tell whether %s is stale:"
                  % os.path.relpath(OUTPUT))
            for p, (want, have) in sorted(differ.items()):
                print("  %s: made from %s, installed %s" % (p, want, have or "none"))
            return 77
    text, sources = generate()
    if text is None:
        print("training packages missing: " + " ".join(sources.missing()))
        return 77 if args.check else 1
    if args.check:
        with open(OUTPUT, encoding="utf-8") as f:
            committed = f.read()
        if committed != text:
            print("%s is stale: run %s" % (os.path.relpath(OUTPUT), os.path.relpath(__file__)))
            return 1
        print("%s is up to date" % os.path.relpath(OUTPUT))
        return 0
    with open(args.out, "w", encoding="utf-8") as f:
        f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
