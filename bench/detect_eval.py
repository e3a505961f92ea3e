#!/usr/bin/env python3
"""Accuracy of NLS_DetectEncodings beside libuchardet on real text that the
language models were not trained on.

    detect_eval.py RUNNER [--per-label N] [--keep DIR] [--errors]
    detect_eval.py RUNNER --speed    time both on 64 KiB of each of a dozen
                                     encodings (median of 41 calls)

The text comes from the message catalogues of Debian packages other than the
training ones (coreutils, bash, dpkg, apt, grep ... see EVAL_PACKAGES): their
translations, per language. Each labelled encoding gets N samples of at most
1 KiB and N of at most 100 bytes (cut between characters), spread evenly
over its languages' text; Python's codecs write them. A sample of an
ASCII-based encoding holds at least one byte above 0x7F (pure ASCII reads the
same in all of them), a 7-bit one at least one non-ASCII character.

An answer is right when it is the label or when Python's codecs decode the
sample to the same text under both names (a leading byte-order mark aside):
a superset named for its base's text counts only where the two agree on it.
RUNNER is bench/detect_eval_runner (built with the benchmarks), which runs
both detectors on every sample.
"""
import argparse
import collections
import itertools
import os
import re
import struct
import subprocess
import sys
import tempfile
import unicodedata

EVAL_PACKAGES = ["coreutils", "bash", "dpkg", "apt", "grep", "findutils", "diffutils",
                 "libc-l10n", "gettext", "packagekit", "libpam-runtime", "at-spi2-common",
                 "libgdk-pixbuf2.0-common", "libavahi-common-data", "tar", "sed", "wget"]

# Canonical name -> Python codec, for the names the detectors answer.
CODECS = {
    "US-ASCII": "ascii", "UTF-8": "utf-8", "UTF-16": "utf-16", "UTF-16LE": "utf-16-le",
    "UTF-16BE": "utf-16-be", "UTF-32": "utf-32", "UTF-32LE": "utf-32-le", "UTF-32BE": "utf-32-be",
    "UNICODE-1-1-UTF-7": "utf-7", "ISO_8859-1:1987": "latin-1", "ISO_8859-2:1987": "iso8859-2",
    "ISO_8859-3:1988": "iso8859-3", "ISO_8859-4:1988": "iso8859-4", "ISO_8859-5:1988": "iso8859-5",
    "ISO_8859-6:1987": "iso8859-6", "ISO_8859-7:1987": "iso8859-7", "ISO_8859-8:1988": "iso8859-8",
    "ISO_8859-9:1989": "iso8859-9", "ISO-8859-10": "iso8859-10", "ISO-8859-11": "iso8859-11",
    "ISO-8859-13": "iso8859-13", "ISO-8859-14": "iso8859-14", "ISO-8859-15": "iso8859-15",
    "ISO-8859-16": "iso8859-16", "KOI8-R": "koi8-r", "KOI8-U": "koi8-u", "x-mac-roman": "mac-roman",
    "x-mac-cyrillic": "mac-cyrillic", "x-mac-greek": "mac-greek", "x-mac-iceland": "mac-iceland",
    "x-mac-ce": "mac-latin2", "x-mac-turkish": "mac-turkish", "x-mac-croatian": "mac-croatian",
    "x-mac-romanian": "mac-romanian", "x-mac-arabic": "mac-arabic", "x-mac-farsi": "mac-farsi",
    "Shift_JIS": "shift_jis", "windows-31j": "cp932",
    "Extended_UNIX_Code_Packed_Format_for_Japanese": "euc_jp", "ISO-2022-JP": "iso2022_jp",
    "ISO-2022-JP-1": "iso2022_jp_1", "ISO-2022-JP-2": "iso2022_jp_2",
    "ISO-2022-JP-3": "iso2022_jp_3", "ISO-2022-JP-2004": "iso2022_jp_2004",
    "ISO-2022-KR": "iso2022_kr", "HZ-GB-2312": "hz", "GB2312": "gb2312", "GBK": "gbk",
    "GB18030": "gb18030", "Big5": "big5", "windows-950": "cp950", "Big5-HKSCS": "big5hkscs",
    "EUC-KR": "euc_kr", "windows-949": "cp949", "Johab": "johab", "TIS-620": "tis-620",
    "windows-874": "cp874", "KZ-1048": "kz1048", "PTCP154": "ptcp154",
}
for n in range(1250, 1259):
    CODECS["windows-%d" % n] = "cp%d" % n
for n in (437, 737, 775, 850, 852, 855, 857, 860, 861, 862, 863, 865, 866, 869, 1125):
    CODECS["IBM%d" % n] = "cp%d" % n

WESTERN = ["fr", "de", "es", "it", "pt", "nl", "sv", "da", "fi"]
CENTRAL = ["pl", "cs", "hu", "sk", "sl", "hr", "ro"]
# Label -> languages (catalogue locales) whose text it is written from.
LABELS = [
    ("UTF-8", ["fr", "ru", "ja", "zh_CN", "el", "ko", "ar", "th", "pl", "tr"]),
    ("UTF-16", ["fr", "ja", "ru"]),
    ("UTF-16LE", ["fr", "ja", "ru", "zh_CN", "ko"]),
    ("UTF-16BE", ["fr", "ja", "ru", "zh_CN", "ko"]),
    ("UTF-32LE", ["fr", "ja", "ru"]),
    ("UTF-32BE", ["fr", "ja", "ru"]),
    ("UNICODE-1-1-UTF-7", ["fr", "ja", "ru"]),
    ("windows-1252", WESTERN),
    ("ISO_8859-1:1987", WESTERN),
    ("ISO-8859-15", ["fr", "de", "fi", "et"]),
    ("x-mac-roman", ["fr", "de", "es"]),
    ("IBM850", ["fr", "de", "es", "pt"]),
    ("IBM437", ["de", "es"]),
    ("windows-1250", CENTRAL),
    ("ISO_8859-2:1987", CENTRAL[:6]),
    ("IBM852", ["pl", "cs"]),
    ("x-mac-ce", ["pl", "cs"]),
    ("ISO-8859-16", ["ro"]),
    ("windows-1251", ["ru", "uk", "bg"]),
    ("KOI8-R", ["ru"]),
    ("KOI8-U", ["uk"]),
    ("ISO_8859-5:1988", ["ru", "bg"]),
    ("IBM866", ["ru"]),
    ("x-mac-cyrillic", ["ru", "bg"]),
    ("windows-1253", ["el"]),
    ("ISO_8859-7:1987", ["el"]),
    ("windows-1254", ["tr"]),
    ("ISO_8859-9:1989", ["tr"]),
    ("windows-1255", ["he"]),
    ("ISO_8859-8:1988", ["he"]),
    ("windows-1256", ["ar"]),
    ("ISO_8859-6:1987", ["ar"]),
    ("windows-1257", ["lt", "lv"]),
    ("ISO-8859-13", ["lt", "lv"]),
    ("ISO_8859-4:1988", ["lt", "lv"]),
    ("windows-1258", ["vi"]),
    ("windows-874", ["th"]),
    ("TIS-620", ["th"]),
    ("Shift_JIS", ["ja"]),
    ("windows-31j", ["ja"]),
    ("Extended_UNIX_Code_Packed_Format_for_Japanese", ["ja"]),
    ("ISO-2022-JP", ["ja"]),
    ("GB2312", ["zh_CN"]),
    ("GBK", ["zh_CN"]),
    ("GB18030", ["zh_CN"]),
    ("HZ-GB-2312", ["zh_CN"]),
    ("Big5", ["zh_TW"]),
    ("Big5-HKSCS", ["zh_TW"]),
    ("EUC-KR", ["ko"]),
    ("windows-949", ["ko"]),
    ("ISO-2022-KR", ["ko"]),
]
SEVEN_BIT = {"UNICODE-1-1-UTF-7", "ISO-2022-JP", "HZ-GB-2312", "ISO-2022-KR"}
WIDE = {"UTF-16", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}
SIZES = [1024, 100]

# Characters that 8-bit encodings commonly lack, written as their writers do.
FALLBACK = {"\u2019": "'", "\u2018": "'", "\u201c": '"', "\u201d": '"', "\u201e": '"',
            "\u2026": "...", "\u2013": "-", "\u2014": "-", "\u00a0": " ", "\u202f": " ",
            "\u00ab": '"', "\u00bb": '"', "\u2022": "*", "\u2039": "<", "\u203a": ">"}


def mo_strings(path):
    with open(path, "rb") as f:
        data = f.read()
    if len(data) < 28:
        return []
    order = "<" if struct.unpack("<I", data[:4])[0] == 0x950412DE else ">"
    _, count, _, trans = struct.unpack(order + "4I", data[4:20])
    charset, out = "utf-8", []
    for i in range(count):
        length, offset = struct.unpack(order + "2I", data[trans + 8 * i:trans + 8 * i + 8])
        raw = data[offset:offset + length]
        if i == 0 and b"charset=" in raw:
            charset = raw.split(b"charset=")[1].split(b"\n")[0].strip().decode("ascii") or "utf-8"
            continue
        try:
            text = raw.decode(charset)
        except (UnicodeDecodeError, LookupError):
            continue
        for form in text.split("\0"):
            form = re.sub(r"%(\d+\$)?[-+ #0-9.]*[a-zA-Z]", "", form).strip()
            if form:
                out.append(form)
    return out


def eval_text():
    """Catalogue translations per locale from EVAL_PACKAGES, and the
    packages' versions."""
    files = collections.defaultdict(list)
    versions = {}
    for package in EVAL_PACKAGES:
        out = subprocess.run(["dpkg-query", "-W", "-f=${Status}|${Version}", package],
                             capture_output=True, text=True).stdout
        if "install ok installed" not in out:
            continue
        versions[package] = out.split("|", 1)[1]
        listing = subprocess.run(["dpkg", "-L", package], capture_output=True, text=True).stdout
        for path in sorted(listing.split("\n")):
            m = re.match(r"/usr/share/locale/([^/]+)/LC_MESSAGES/[^/]+\.mo$", path)
            if m:
                files[m.group(1)].append(path)
    texts = {}
    for locale, paths in files.items():
        lines = []
        for path in paths:
            lines.extend(mo_strings(path))
        texts[locale] = unicodedata.normalize("NFC", "\n".join(lines).replace("\ufffd", ""))
    return texts, versions


def encode(text, codec):
    """Bytes of the text, with FALLBACK and canonical decomposition for
    characters the encoding lacks; None when others remain."""
    try:
        return text.encode(codec)
    except UnicodeEncodeError:
        pass
    out = []
    for ch in text:
        for form in [ch, FALLBACK.get(ch)] + list(spellings(ch))[1:]:
            if form is None:
                continue
            try:
                form.encode(codec)
                out.append(form)
                break
            except UnicodeEncodeError:
                continue
        else:
            return None
    try:
        return "".join(out).encode(codec)
    except UnicodeEncodeError:
        return None


def spellings(ch):
    """The character, then its canonical decomposition with every subset of
    its marks composed back (windows-1258 writes Vietnamese with combining
    tone marks)."""
    yield ch
    decomposed = unicodedata.normalize("NFD", ch)
    base, marks = decomposed[0], decomposed[1:]
    for r in range(len(marks), -1, -1):
        for kept in itertools.combinations(range(len(marks)), r):
            composed = unicodedata.normalize("NFC", base + "".join(marks[i] for i in kept))
            yield composed + "".join(m for i, m in enumerate(marks) if i not in kept)


def cut(text, codec, size):
    """The longest prefix of the text whose encoding fits in size bytes."""
    lo, hi = 0, min(len(text), size)
    best = None
    while lo <= hi:
        mid = (lo + hi) // 2
        b = encode(text[:mid], codec)
        if b is None:
            hi = mid - 1
            continue
        if len(b) <= size:
            best = b
            lo = mid + 1
        else:
            hi = mid - 1
    return best


def make_samples(texts, per_label, sizes=SIZES):
    """[(label, size, bytes)] spread evenly over each label's languages."""
    samples = []
    for label, locales in LABELS:
        codec = CODECS[label]
        locales = [l for l in locales if texts.get(l)]
        if not locales:
            continue
        for size in sizes:
            made = 0
            per_locale = -(-per_label // len(locales))
            for locale in locales:
                text = texts[locale]
                want = min(per_locale, per_label - made)
                tries = 0
                got = 0
                step = max(1, len(text) // (want * 4 + 1))
                pos = 0
                while got < want and tries < want * 4 and pos < len(text):
                    tries += 1
                    window = text[pos:pos + size]
                    pos += step
                    b = cut(window, codec, size)
                    if b is None or len(b) < size // 2:
                        continue
                    if label in SEVEN_BIT or label in WIDE or label == "UTF-8":
                        if all(ord(c) < 0x80 for c in b.decode(codec)):
                            continue
                    elif max(b) < 0x80:
                        continue
                    samples.append((label, size, b))
                    got += 1
                made += got
    return samples


def decode(name, data, bom=0):
    codec = CODECS.get(name) or name
    try:
        text = data[bom:].decode(codec)
    except (UnicodeDecodeError, LookupError):
        return None
    return text[1:] if text.startswith("\ufeff") else text


def right(label, answer, data, bom=0):
    if answer == label:
        return True
    truth = decode(label, data)
    return truth is not None and decode(answer, data, bom) == truth


def uchardet_name(name):
    """uchardet's names as Python codec names."""
    fixes = {"ASCII": "ascii", "MAC-CYRILLIC": "mac-cyrillic", "MAC-CENTRALEUROPE": "mac-latin2",
             "WINDOWS-1252": "cp1252", "X-ISO-10646-UCS-4-3412": "-", "X-ISO-10646-UCS-4-2143": "-"}
    return fixes.get(name.upper(), name)


SPEED_CASES = [("fr", "cp1252"), ("de", "latin-1"), ("ru", "koi8-r"), ("el", "cp1253"),
               ("th", "tis-620"), ("ja", "shift_jis"), ("ja", "euc_jp"), ("ja", "utf-8"),
               ("zh_CN", "gbk"), ("zh_TW", "big5"), ("ko", "euc_kr"), ("fr", "utf-16-le")]


def speed(runner, texts):
    with tempfile.TemporaryDirectory() as tmp:
        paths = []
        for locale, codec in SPEED_CASES:
            data = b""
            for line in texts[locale].split("\n"):
                b = encode(line + "\n", codec)
                if b is not None:
                    data += b
                if len(data) >= 65536:
                    break
            while len(data) < 65536:
                data += data
            path = os.path.join(tmp, "%s.%s" % (locale, codec))
            with open(path, "wb") as f:
                f.write(data[:65536])
            paths.append(path)
        path = os.path.join(tmp, "en.ascii")
        with open(path, "wb") as f:
            f.write((b"The quick brown fox jumps over the lazy dog. " * 1500)[:65536])
        paths.append(path)
        subprocess.run([runner, "speed"] + paths, check=True)
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("runner")
    parser.add_argument("--per-label", type=int, default=40)
    parser.add_argument("--keep", help="write the samples and answers into this directory")
    parser.add_argument("--errors", action="store_true", help="list the samples we got wrong")
    parser.add_argument("--speed", action="store_true", help="time both detectors instead")
    args = parser.parse_args()
    texts, versions = eval_text()
    if args.speed:
        return speed(args.runner, texts)
    samples = make_samples(texts, args.per_label)
    with tempfile.TemporaryDirectory() as tmp:
        directory = args.keep or tmp
        os.makedirs(directory, exist_ok=True)
        path = os.path.join(directory, "samples.bin")
        with open(path, "wb") as f:
            for label, size, data in samples:
                f.write(b"%s\t%d\n" % (label.encode(), len(data)) + data + b"\n")
        out = subprocess.run([args.runner, "answers", path], capture_output=True, text=True,
                             check=True).stdout
    answers = [line.split("\t") for line in out.rstrip("\n").split("\n")]
    assert len(answers) == len(samples), (len(answers), len(samples))
    score = collections.defaultdict(lambda: [0, 0, 0])  # (label, size) -> n, ours, uchardet
    errors = []
    for (label, size, data), (ours, conf, lang, bom, theirs) in zip(samples, answers):
        s = score[(label, size)]
        s[0] += 1
        ok = right(label, ours, data, int(bom))
        s[1] += ok
        s[2] += right(label, uchardet_name(theirs), data)
        if not ok:
            errors.append((label, size, ours, conf, lang, theirs, data))
    print("Evaluation text: message catalogues of " + ", ".join(
        "%s %s" % kv for kv in sorted(versions.items())))
    print("%d samples, %d labels\n" % (len(samples), len({l for l, _, _ in samples})))
    print("| encoding | samples 1 KiB | ours | uchardet | samples 100 B | ours | uchardet |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    totals = {size: [0, 0, 0] for size in SIZES}
    for label, _ in LABELS:
        row = [label]
        for size in SIZES:
            n, a, b = score.get((label, size), (0, 0, 0))
            for k, v in enumerate((n, a, b)):
                totals[size][k] += v
            row += [str(n), "%.1f %%" % (100.0 * a / n) if n else "-",
                    "%.1f %%" % (100.0 * b / n) if n else "-"]
        print("| " + " | ".join(row) + " |")
    row = ["**all**"]
    for size in SIZES:
        n, a, b = totals[size]
        row += [str(n), "**%.1f %%**" % (100.0 * a / n), "**%.1f %%**" % (100.0 * b / n)]
    print("| " + " | ".join(row) + " |")
    if args.errors:
        for label, size, ours, conf, lang, theirs, data in errors:
            text = decode(label, data) or ""
            print("%s %d: ours %s (%s, %s) uchardet %s: %r" % (
                label, size, ours, conf, lang, theirs, text[:70]))
    return 0


if __name__ == "__main__":
    sys.exit(main())
