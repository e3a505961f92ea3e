#!/usr/bin/env python3
"""End-to-end tests of nlsconv.

The program runs as a subprocess (under the cross-compiling emulator in the
32-bit build) and its output is compared with independent oracles: Python's
codecs, iconv, and the library's whole-buffer conversion (whole_buffer, one
NLS_ConvertBuffer call), which piece-by-piece conversion must equal for
every chunk size.

Environment: NLSCONV (the program), NLSCONV_WHOLE_BUFFER (the reference
helper), NLSCONV_EMULATOR (may be empty), NLSCONV_DATA_DIR (the build tree's
data directory, the program's default).

Run one group with: nlsconv_test.py ClassName[.test_name]
"""

import base64
import os
import re
import shlex
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = os.environ.get("NLSCONV", "nlsconv")
WHOLE_BUFFER = os.environ.get("NLSCONV_WHOLE_BUFFER", "whole_buffer")
EMULATOR = shlex.split(os.environ.get("NLSCONV_EMULATOR", ""))
DATA_DIR = os.environ.get("NLSCONV_DATA_DIR", "")

LATIN1 = "ISO_8859-1:1987"
MACROMAN = "x-mac-roman"
UCS2 = "ISO-10646-UCS-2"
UCS4 = "ISO-10646-UCS-4"
ESCAPED = "ESCAPED_UNICODE"
UTF8 = "UTF-8"
UTF7 = "UNICODE-1-1-UTF-7"
IMAP = "IMAP-MODIFIED-UTF-7"
BUILT_IN = [LATIN1, MACROMAN, UCS4, ESCAPED, UTF8, UTF7, IMAP, UCS2]

# Both target machines are little-endian: UCS-2 and UCS-4 are in that order.
PYTHON_CODEC = {LATIN1: "latin-1", MACROMAN: "mac_roman", UCS2: "utf-16-le",
                UCS4: "utf-32-le", UTF8: "utf-8", UTF7: "utf-7"}


def clean_environment(extra=None):
    environment = {k: v for k, v in os.environ.items() if k != "QV_NLS_DATADIRECTORY"}
    environment.update(extra or {})
    return environment


def nlsconv(*args, stdin=b"", env=None, cwd=None, stdout=subprocess.PIPE):
    return subprocess.run(EMULATOR + [TOOL, *args], input=stdin, stdout=stdout,
                          stderr=subprocess.PIPE, env=clean_environment(env), cwd=cwd,
                          timeout=900)


# ---- Independent encoders -------------------------------------------------

def utf16_units(text):
    data = text.encode("utf-16-le")
    return [data[i] | data[i + 1] << 8 for i in range(0, len(data), 2)]


def escape(text):
    """Escaped Unicode: printable ASCII, tab, LF and CR as themselves, every
    other UTF-16 unit as a backslash, "u" and four upper-case hex digits."""
    out = []
    for u in utf16_units(text):
        out.append(chr(u) if u in (9, 10, 13) or 0x20 <= u <= 0x7E else "\\u%04X" % u)
    return "".join(out).encode("ascii")


def imap_encode(text):
    """Modified UTF-7 of RFC 3501."""
    out, run = [], []

    def close():
        if run:
            digits = base64.b64encode("".join(run).encode("utf-16-be")).decode()
            out.append("&" + digits.rstrip("=").replace("/", ",") + "-")
            run.clear()

    for ch in text:
        if 0x20 <= ord(ch) <= 0x7E:
            close()
            out.append("&-" if ch == "&" else ch)
        else:
            run.append(ch)
    close()
    return "".join(out).encode("ascii")


def imap_decode(data):
    text, out, i = data.decode("ascii"), [], 0
    while i < len(text):
        if text[i] != "&":
            out.append(text[i])
            i += 1
            continue
        end = text.index("-", i)
        if end == i + 1:
            out.append("&")
        else:
            digits = text[i + 1:end].replace(",", "/")
            out.append(base64.b64decode(digits + "=" * (-len(digits) % 4)).decode("utf-16-be"))
        i = end + 1
    return "".join(out)


def encode(text, encoding):
    if encoding == ESCAPED:
        return escape(text)
    if encoding == IMAP:
        return imap_encode(text)
    return text.encode(PYTHON_CODEC[encoding])


def representable(text, encoding):
    if encoding in (LATIN1, MACROMAN):
        codec = PYTHON_CODEC[encoding]
        return "".join(c for c in text if c.encode(codec, "ignore"))
    return text


# A text with something for every converter: ASCII punctuation (with "+",
# "-", "~" and the backslash, which UTF-7 treats apart), Latin-1, Greek, CJK, characters beyond
# the BMP (surrogate pairs), tabs and CR LF, a long base64 run without any
# resting point, a line of many short runs, and no final line feed.
TEXT = (
    "Plain ASCII: !\"#$%&'()*+,-./0123456789:;<=>?@[\\]^_`{|}~ The end.\n"
    "Latin-1: café naïve façade Ångström ÿ ß ×÷ ¡¿ «»° ±² ½\n"
    "Greek Αλφάβητο, Cyrillic Съешь же ещё, CJK 日本語のテキスト、中文字符。\n"
    "UTF-7: a+b=c, +-, ~tilde~, back\\slash \\\\, 1-2-3, &amp; A\u2262\u0391. Hi Mom -\u263a-!\n"
    "Astral 😀🎉 𝄞 mixed😀a😀-😀.\n"
    "tab\there\r\nCRLF line\r\n"
    + "é" * 300 + "\n"
    + "日本語" * 150 + "\n"
    + "".join("a\u00e9b\u4e2d-" for _ in range(60)) + "\n"
    "last line without a line feed: ü"
)


def text_for(encoding):
    return representable(TEXT, encoding)


# ---- Helpers --------------------------------------------------------------

class Workspace(unittest.TestCase):
    def setUp(self):
        self._dir = tempfile.TemporaryDirectory(prefix="nlsconv-test-")
        self.dir = self._dir.name

    def tearDown(self):
        self._dir.cleanup()

    def path(self, name, content=None):
        path = os.path.join(self.dir, name)
        if content is not None:
            with open(path, "wb") as f:
                f.write(content)
        return path

    def read(self, path):
        with open(path, "rb") as f:
            return f.read()

    def whole_buffer(self, source, destination, data):
        src = self.path("whole.in", data)
        dst = self.path("whole.out")
        result = subprocess.run(EMULATOR + [WHOLE_BUFFER, source, destination, src, dst],
                                capture_output=True, env=clean_environment(
                                    {"QV_NLS_DATADIRECTORY": DATA_DIR}), timeout=600)
        self.assertEqual(result.returncode, 0, f"whole-buffer {source} -> {destination}: "
                         f"status {result.stdout!r} {result.stderr!r}")
        return self.read(dst)

    def convert(self, source, destination, data, *extra):
        result = nlsconv("-f", source, "-t", destination, *extra, stdin=data)
        self.assertEqual((result.returncode, result.stderr.decode(errors="replace")), (0, ""),
                         f"{source} -> {destination} {extra}")
        return result.stdout

    def assertSameBytes(self, actual, expected, what):
        if actual != expected:
            at = next((i for i, (a, b) in enumerate(zip(actual, expected)) if a != b),
                      min(len(actual), len(expected)))
            self.fail(f"{what}: {len(actual)} bytes, expected {len(expected)}; first difference "
                      f"at {at}: {actual[at:at + 16]!r} vs {expected[at:at + 16]!r}")

    def assertFailure(self, result, message_pattern, status=1):
        stderr = result.stderr.decode(errors="replace")
        self.assertEqual(result.returncode, status, stderr)
        self.assertRegex(stderr, message_pattern)

    def assertNoTemporaryFiles(self):
        self.assertEqual([n for n in os.listdir(self.dir) if ".nlsconv-" in n], [])


# ---- Chunking identity ----------------------------------------------------

CHUNK_SIZES = [1, 2, 3, 5, 8, 13, 100, 4096, None]


class ChunkingIdentity(Workspace):
    """Converting piece by piece, with any internal chunk size, gives exactly
    the whole-buffer conversion, for every pair of built-in encodings."""

    def check_source(self, source):
        data = encode(text_for(source), source)
        for destination in BUILT_IN:
            if destination == source:
                continue
            expected = self.whole_buffer(source, destination, data)
            self.assertGreater(len(expected), 0)
            for chunk in CHUNK_SIZES:
                extra = () if chunk is None else (f"--chunk-size={chunk}",)
                with self.subTest(destination=destination, chunk=chunk):
                    actual = self.convert(source, destination, data, *extra)
                    self.assertSameBytes(actual, expected, f"{source} -> {destination} "
                                         f"chunk {chunk}")


def _add_chunking_tests():
    for source in BUILT_IN:
        name = "test_from_" + re.sub(r"[^A-Za-z0-9]", "_", source)
        setattr(ChunkingIdentity, name, lambda self, s=source: self.check_source(s))


_add_chunking_tests()


class LongStretches(Workspace):
    """Input with no place to cut for more than the longest piece held in
    memory (1 MiB): the program cuts between characters and carries what a
    converter leaves unconsumed into the next piece."""

    def check(self, source, destination, data):
        expected = self.whole_buffer(source, destination, data)
        for chunk in (4099, 65536, 1 << 20):
            with self.subTest(source=source, destination=destination, chunk=chunk):
                actual = self.convert(source, destination, data, f"--chunk-size={chunk}")
                self.assertSameBytes(actual, expected, f"{source} -> {destination}")

    def test_multibyte_utf8_without_ascii(self):
        # 2- and 3-byte sequences with an odd total, so that some cut falls
        # inside a character.
        data = ("é" * 600000 + "中" * 300000).encode("utf-8")
        self.check(UTF8, UCS2, data)
        self.check(UTF8, LATIN1, data)

    def test_surrogate_pairs_in_ucs2(self):
        self.check(UCS2, UTF8, ("😀" * 300001 + "é" * 1001).encode("utf-16-le"))

    def test_ucs4_and_latin1(self):
        self.check(UCS4, UTF8, ("αβγ" * 100001).encode("utf-32-le"))
        self.check(LATIN1, UTF8, "é".encode("latin-1") * 1200001)

    def test_escapes_back_to_back(self):
        self.check(ESCAPED, UTF8, escape("é中" * 150001))


class ConverterLibraries(Workspace):
    """The same identity for encodings that converter libraries provide
    (multi-byte, with trail bytes in the ASCII range, and the stateful
    ISO-2022-JP), in both directions. Skipped where the data directory has
    no such libraries."""

    JAPANESE = "日本語のテキスト、漢字かな交じり文とカタカナ 123 ABC.\nです。\n" * 40 + "終わり"
    CASES = [("Shift_JIS", "shift_jis", JAPANESE), ("euc-jp", "euc_jp", JAPANESE),
             ("ISO-2022-JP", "iso2022_jp", JAPANESE),
             ("Big5", "big5", "繁體中文的測試文字 ABC 123。\n許功蓋\n" * 60),
             ("EUC-KR", "euc_kr", "한국어 텍스트입니다 ABC.\n안녕하세요\n" * 60),
             ("windows-1252", "cp1252", "€ café – “quoted” naïve\n" * 80)]

    def setUp(self):
        super().setUp()
        listing = parse_listing(nlsconv("-l").stdout.decode())
        self.available = {name.lower() for name in listing["Encodings"]}

    def test_chunking_identity_both_ways(self):
        ran = 0
        for name, codec, text in self.CASES:
            canonical = name if name != "euc-jp" else \
                "Extended_UNIX_Code_Packed_Format_for_Japanese"
            if canonical.lower() not in self.available:
                continue
            ran += 1
            data = text.encode(codec)
            for source, destination, sample in ((name, UTF8, data), (name, IMAP, data),
                                                (UTF8, name, text.encode()),
                                                (UTF7, name, text.encode("utf-7"))):
                expected = self.whole_buffer(source, destination, sample)
                if (source, destination) == (name, UTF8):
                    self.assertEqual(expected.decode(), text)  # the library agrees with Python
                for chunk in (1, 2, 5, 64, None):
                    extra = () if chunk is None else (f"--chunk-size={chunk}",)
                    with self.subTest(source=source, destination=destination, chunk=chunk):
                        self.assertSameBytes(self.convert(source, destination, sample, *extra),
                                             expected, f"{source} -> {destination}")
        if ran == 0:
            self.skipTest("no converter libraries in the data directory")

    def test_auto_converts_detected_japanese(self):
        if "shift_jis" not in self.available or "iso-2022-jp" not in self.available:
            self.skipTest("no Japanese converter library in the data directory")
        files = [self.path("sjis.txt", self.JAPANESE.encode("shift_jis")),
                 self.path("jis.txt", self.JAPANESE.encode("iso2022_jp"))]
        result = nlsconv("-f", "auto", *files)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, (self.JAPANESE * 2).encode())
        self.assertRegex(result.stderr.decode(),
                         f"^nlsconv: {re.escape(files[0])}: detected Shift_JIS .*\n"
                         f"nlsconv: {re.escape(files[1])}: detected ISO-2022-JP .*\n$")


# ---- Agreement with iconv and Python's codecs ----------------------------

ICONV_NAME = {LATIN1: "ISO-8859-1", MACROMAN: "MACINTOSH", UCS2: "UTF-16LE",
              UCS4: "UCS-4LE", UTF8: "UTF-8", UTF7: "UTF-7", IMAP: "UTF-7-IMAP"}


def iconv(source, destination, data):
    result = subprocess.run(["iconv", "-f", source, "-t", destination], input=data,
                            capture_output=True, timeout=60)
    if result.returncode != 0:
        raise AssertionError(f"iconv {source} -> {destination}: {result.stderr!r}")
    return result.stdout


def macroman_agreeing_characters():
    """The Mac OS Roman characters on which iconv and Python agree, without
    0xBD, which this library maps to U+2126 OHM SIGN (the older Apple table)
    where both give U+03A9."""
    codes = bytes(range(0x80, 0x100))
    from_iconv = iconv("MACINTOSH", "UTF-32LE", codes)
    chars = []
    for i, code in enumerate(codes):
        ch = chr(int.from_bytes(from_iconv[4 * i:4 * i + 4], "little"))
        if code != 0xBD and bytes([code]).decode("mac_roman") == ch:
            chars.append(ch)
    return set(chars)


class IconvAgreement(Workspace):
    """For valid text in the repertoire of both encodings, nlsconv gives what
    iconv gives; a UTF-7 form (whose encoders may choose differently which
    characters to encode) must decode to the original text under iconv."""

    def text(self, source, destination):
        text = TEXT
        for encoding in (source, destination):
            if encoding == LATIN1:
                text = "".join(c for c in text if ord(c) < 0x100 and not 0x7F <= ord(c) < 0xA0)
            elif encoding == MACROMAN:
                allowed = macroman_agreeing_characters()
                text = "".join(c for c in text if ord(c) < 0x7F or c in allowed)
            elif encoding == UCS4:
                text = "".join(c for c in text if ord(c) < 0x10000)
        return text

    def test_every_pair(self):
        names = [e for e in BUILT_IN if e in ICONV_NAME]
        for source in names:
            for destination in names:
                if source == destination:
                    continue
                with self.subTest(source=source, destination=destination):
                    text = self.text(source, destination)
                    data = iconv("UTF-8", ICONV_NAME[source], text.encode("utf-8"))
                    actual = self.convert(source, destination, data)
                    if destination in (UTF7, IMAP):
                        back = iconv(ICONV_NAME[destination], "UTF-8", actual).decode("utf-8")
                        self.assertEqual(back, text)
                        python = (imap_decode(actual) if destination == IMAP
                                  else actual.decode("utf-7"))
                        self.assertEqual(python, text)
                    else:
                        expected = iconv(ICONV_NAME[source], ICONV_NAME[destination], data)
                        self.assertSameBytes(actual, expected, f"{source} -> {destination}")

    def test_escaped_unicode_against_python(self):
        text = TEXT.replace("\\", "/")  # a literal backslash-u would read as an escape
        self.assertEqual(self.convert(UTF8, ESCAPED, text.encode("utf-8")), escape(text))
        self.assertEqual(self.convert(ESCAPED, UTF8, escape(text)), text.encode("utf-8"))

    def test_exact_examples(self):
        cases = [
            (UTF8, UTF7, "Hi Mom -☺-!", b"Hi Mom -+Jjo--!"),
            (UTF8, UTF7, "A\u2262\u0391.", b"A+ImIDkQ."),
            (UTF8, "utf-7", "1+1", b"1+-1"),
            (UTF8, IMAP, "~user/mail/台北/日本語", b"~user/mail/&U,BTFw-/&ZeVnLIqe-"),
            (UTF8, "imap-utf-7", "a&b", b"a&-b"),
            (UTF8, ESCAPED, "Aé\n中", b"A\\u00E9\n\\u4E2D"),
            (UTF8, "latin1", "café", b"caf\xe9"),
            (UTF8, UCS4, "A中", b"A\0\0\0\x2d\x4e\0\0"),
        ]
        for source, destination, text, expected in cases:
            with self.subTest(destination=destination, text=text):
                self.assertEqual(self.convert(source, destination, text.encode("utf-8")),
                                 expected)


# ---- Options ---------------------------------------------------------------

def parse_listing(text):
    sections, current = {}, None
    for line in text.splitlines():
        if line.endswith(":") and not line.startswith(" "):
            current = line[:-1]
            sections[current] = []
        else:
            assert line.startswith("  ") and current is not None, line
            sections[current].append(line.strip())
    return sections


BUILT_IN_DIRECT = {(e, UCS2) for e in BUILT_IN if e != UCS2} | \
                  {(UCS2, e) for e in BUILT_IN if e != UCS2}


class Options(Workspace):
    def test_help_and_version(self):
        result = nlsconv("--help")
        self.assertEqual(result.returncode, 0)
        usage = result.stdout.decode()
        self.assertTrue(usage.startswith("Usage: nlsconv -f FROM"))
        for option in ("--from-code", "--to-code", "--output", "--list", "--detect",
                       "--data-dir", "--progress", "--help", "--version", "auto"):
            self.assertIn(option, usage)
        self.assertNotIn("chunk", usage)  # the test option stays hidden
        result = nlsconv("--version")
        self.assertEqual((result.returncode, result.stdout), (0, b"nlsconv (nlscnv) 3.0.0\n"))
        self.assertEqual(nlsconv("-V").stdout, result.stdout)

    def test_usage_errors(self):
        for args in ([], ["-t", "UTF-8"], ["--bogus"], ["-f"], ["-f", "latin1", "--chunk-size=0"],
                     ["-f", "latin1", "--chunk-size=x"], ["-l", "--detect"]):
            with self.subTest(args=args):
                result = nlsconv(*args)
                self.assertFailure(result, r"^nlsconv: .*\nTry 'nlsconv --help'", status=2)
                self.assertEqual(result.stdout, b"")

    def test_long_options_and_default_destination(self):
        data = "naïve\n".encode("latin-1")
        self.assertEqual(nlsconv("--from-code=latin1", stdin=data).stdout,
                         "naïve\n".encode("utf-8"))
        out = self.path("out.txt")
        result = nlsconv("-f", "latin1", "--to-code=ISO-10646-UCS-2", f"--output={out}",
                         stdin=data)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.read(out), "naïve\n".encode("utf-16-le"))

    def test_files_and_standard_input_concatenate(self):
        a = self.path("a", "première\n".encode("latin-1"))
        b = self.path("b", "deuxième".encode("latin-1"))
        result = nlsconv("-f", "latin1", a, "-", b, stdin="[stdin]\n".encode("latin-1"))
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(result.stdout, "première\n[stdin]\ndeuxième".encode("utf-8"))

    def test_empty_input(self):
        empty = self.path("empty", b"")
        for source in (UTF7, UCS2, MACROMAN):
            with self.subTest(source=source):
                result = nlsconv("-f", source, empty)
                self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""))

    def test_list(self):
        result = nlsconv("-l")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        sections = parse_listing(result.stdout.decode())
        self.assertEqual(list(sections), ["Encodings", "Direct conversions",
                                          "Conversions through ISO-10646-UCS-2"])
        self.assertLessEqual(set(BUILT_IN), set(sections["Encodings"]))
        direct = {tuple(item.split(" -> ")) for item in sections["Direct conversions"]}
        self.assertLessEqual(BUILT_IN_DIRECT, direct)
        through = {tuple(item.split(" -> ")) for item in
                   sections["Conversions through ISO-10646-UCS-2"]}
        expected = {(a, b) for a in BUILT_IN for b in BUILT_IN if UCS2 not in (a, b) and a != b}
        self.assertLessEqual(expected, through)
        self.assertFalse(through & direct)
        self.assertEqual(nlsconv("--list").stdout, result.stdout)

    def test_progress(self):
        data = ("x" * 99 + "\n").encode() * 300
        src = self.path("in.txt", data)
        result = nlsconv("-f", "latin1", "--progress", "--chunk-size=1000", src)
        self.assertEqual((result.returncode, result.stdout), (0, data))
        last = result.stderr.decode().splitlines()[-1]
        self.assertRegex(last, r"^nlsconv: 29\.3 KiB of 29\.3 KiB \(100%\), [0-9.]+ [KMGT]?i?B/s$")
        # From a pipe the total is not known.
        result = nlsconv("-f", "latin1", "--progress", stdin=data)
        self.assertRegex(result.stderr.decode().splitlines()[-1],
                         r"^nlsconv: 29\.3 KiB, [0-9.]+ [KMGT]?i?B/s$")
        # Without the option nothing is reported.
        self.assertEqual(nlsconv("-f", "latin1", src).stderr, b"")


class DataDirectory(Workspace):
    def registry(self, name, aliases="", encodings=""):
        directory = os.path.join(self.dir, name)
        os.makedirs(os.path.join(directory, "conv30"))
        with open(os.path.join(directory, "conv30", "encreg.txt"), "w") as f:
            f.write(encodings)
        with open(os.path.join(directory, "conv30", "aliasreg.txt"), "w") as f:
            f.write(aliases)
        return directory

    def test_registry_files_add_aliases_and_conversions(self):
        directory = self.registry(
            "data", aliases="// test aliases\nmy-text UTF-8\n",
            encodings="MY-LATIN ISO-10646-UCS-2 @@staticconvertersINTERNAL@@ "
                      "NewLatin1ToUnicodeEncodingConverter #\n")
        result = nlsconv("--data-dir", directory, "-f", "my-text", "-t", "latin1",
                         stdin="ça\n".encode())
        self.assertEqual((result.returncode, result.stdout), (0, b"\xe7a\n"))
        result = nlsconv("--data-dir", directory, "-f", "MY-LATIN", stdin=b"\xe7a\n")
        self.assertEqual((result.returncode, result.stdout), (0, "ça\n".encode()))
        listing = parse_listing(nlsconv("--data-dir", directory, "-l").stdout.decode())
        self.assertIn("MY-LATIN -> ISO-10646-UCS-2", listing["Direct conversions"])
        self.assertIn("MY-LATIN -> UTF-8", listing["Conversions through ISO-10646-UCS-2"])

    def test_option_then_environment_never_current_directory(self):
        # "pick" means UTF-8 in one directory and Latin-1 in the other.
        utf8 = self.registry("utf8", aliases="pick UTF-8\n")
        latin = self.registry("latin", aliases="pick latin1\n")
        data = "é".encode("utf-8")
        as_utf8 = nlsconv("-f", "pick", "-t", UCS2, stdin=data,
                          env={"QV_NLS_DATADIRECTORY": utf8})
        self.assertEqual(as_utf8.stdout, "é".encode("utf-16-le"))
        chosen = nlsconv("--data-dir", latin, "-f", "pick", "-t", UCS2, stdin=data,
                         env={"QV_NLS_DATADIRECTORY": utf8})
        self.assertEqual(chosen.stdout, "Ã©".encode("utf-16-le"))
        # Without either, the program's own data directory applies, not the
        # current directory.
        result = nlsconv("-f", "pick", "-t", UCS2, stdin=data, cwd=utf8)
        self.assertFailure(result, "^nlsconv: cannot convert from pick to ISO-10646-UCS-2\n$")

    def test_default_is_the_build_data_directory(self):
        # The shipped aliasreg.txt names Mac OS Roman "macintosh"; no built-in
        # alias does.
        self.assertIn(DATA_DIR, nlsconv("--help").stdout.decode())
        result = nlsconv("-f", "macintosh", stdin=b"\x8e\n", cwd=self.dir)
        self.assertEqual((result.returncode, result.stdout), (0, "é\n".encode()))
        result = nlsconv("--data-dir", self.dir, "-f", "macintosh", stdin=b"\x8e\n")
        self.assertFailure(result, f"^nlsconv: no registry files in {re.escape(self.dir)}/conv30/\n$")

    def test_registry_files_refused_in_a_directory_others_can_write(self):
        directory = self.registry("open", aliases="pick UTF-8\n")
        os.chmod(os.path.join(directory, "conv30"), 0o777)
        result = nlsconv("--data-dir", directory + "/", "-f", "pick", stdin=b"a\n")
        self.assertFailure(result, f"^nlsconv: registry files in {re.escape(directory)}/conv30/ "
                                   "refused: directory writable by others\n$")


# ---- Detection ---------------------------------------------------------

SJIS = bytes.fromhex("93FA967B8CEA")  # Shift_JIS-only lead bytes
EUCJP = bytes.fromhex("C6FCCBDCB8EC")
ISO2022JP = "日本語のテキスト\n".encode("iso2022_jp")


def multibyte_count(data):
    return sum(1 for b in data if b >= 0xC0)


class Detection(Workspace):
    def test_detect_reports_each_file(self):
        utf8_text = "Grüße aus Köln, 日本\n".encode()
        files = [self.path("utf8.txt", utf8_text), self.path("ascii.txt", b"plain text\n"),
                 self.path("sjis.txt", SJIS), self.path("euc.txt", EUCJP),
                 self.path("jis.txt", ISO2022JP)]
        result = nlsconv("--detect", *files)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(result.stdout.decode().splitlines(), [
            f"{files[0]}: UTF-8 (confidence {multibyte_count(utf8_text)})",
            f"{files[1]}: no encoding recognised",
            f"{files[2]}: Shift_JIS (confidence 1)",
            f"{files[3]}: Extended_UNIX_Code_Packed_Format_for_Japanese (confidence 1)",
            f"{files[4]}: ISO-2022-JP (confidence 1)",
        ])

    def test_detect_missing_file_and_standard_input(self):
        missing = os.path.join(self.dir, "missing")
        result = nlsconv("--detect", missing, "-", stdin="é\n".encode())
        self.assertFailure(result, f"^nlsconv: {re.escape(missing)}: No such file or directory\n$")
        self.assertEqual(result.stdout, b"standard input: UTF-8 (confidence 1)\n")

    def test_sample_is_the_first_64_kib_cut_after_a_line_feed(self):
        # The sample ends in the middle of a 3-byte character; it is cut back
        # to the last line feed, so the input still reads as UTF-8, and only
        # the characters before that line feed count.
        line = "日本語テキスト\n".encode()
        data = line * (65536 // len(line) + 20)
        sample = data[:65536]
        self.assertNotEqual(sample[-1], 0x0A)
        counted = sample[:sample.rindex(b"\n") + 1]
        result = nlsconv("--detect", self.path("big.txt", data))
        self.assertEqual(result.stdout.decode().split(": ", 1)[1],
                         f"UTF-8 (confidence {multibyte_count(counted)})\n")

    def test_auto_detects_each_input(self):
        utf8 = self.path("utf8.txt", "é and 中\n".encode())
        ascii_ = self.path("ascii.txt", b"just ascii\n")
        result = nlsconv("-f", "auto", "-t", UCS2, utf8, ascii_)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, "é and 中\njust ascii\n".encode("utf-16-le"))
        self.assertEqual(result.stderr.decode().splitlines(), [
            f"nlsconv: {utf8}: detected UTF-8 (confidence 2)",
            f"nlsconv: {ascii_}: no encoding recognised, converting from ISO_8859-1:1987",
        ])

    def test_auto_from_standard_input_in_small_chunks(self):
        text = "ligne accentuée, 行\n" * 5000
        result = nlsconv("-f", "AUTO", "-t", UCS2, "--chunk-size=7", stdin=text.encode())
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, text.encode("utf-16-le"))
        self.assertRegex(result.stderr.decode(), r"^nlsconv: standard input: detected UTF-8 ")


# ---- Failures ------------------------------------------------------------

class Failures(Workspace):
    def existing_output(self):
        out = self.path("existing.txt", b"keep me\n")
        os.chmod(out, 0o640)
        return out

    def assertUntouched(self, out):
        self.assertEqual(self.read(out), b"keep me\n")
        self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), 0o640)
        self.assertNoTemporaryFiles()

    def test_unknown_encoding_or_pair(self):
        out = self.existing_output()
        cases = [
            (["-f", "no-such-encoding"], "no-such-encoding", "UTF-8"),
            (["-f", "latin1", "-t", "bogus"], "ISO_8859-1:1987", "bogus"),
            (["-f", "csUnicode11", "-t", "ISO-10646"], UCS2, UCS2),
            (["-f", "*", "-t", "utf_8"], "*", "UTF-8"),
        ]
        for args, source, destination in cases:
            with self.subTest(args=args):
                result = nlsconv(*args, "-o", out, stdin=b"text\n")
                self.assertFailure(result, f"^nlsconv: cannot convert from {re.escape(source)} "
                                           f"to {re.escape(destination)}\n$")
                self.assertUntouched(out)

    def test_unreadable_input(self):
        out = self.existing_output()
        good = self.path("good.txt", b"fine\n")
        missing = os.path.join(self.dir, "missing.txt")
        result = nlsconv("-f", "latin1", "-o", out, good, missing)
        self.assertFailure(result, f"^nlsconv: {re.escape(missing)}: No such file or directory\n$")
        self.assertUntouched(out)
        result = nlsconv("-f", "latin1", self.dir)
        self.assertFailure(result, f"^nlsconv: {re.escape(self.dir)}: Is a directory\n$")

    def test_malformed_utf7_reports_the_bytes(self):
        out = self.existing_output()
        data = b"good line\nabc +A- def\n"  # "+A-" ends before a whole unit
        for destination in (UCS2, LATIN1, IMAP):
            for chunk in ("--chunk-size=1", "--chunk-size=65536"):
                with self.subTest(destination=destination, chunk=chunk):
                    result = nlsconv("-f", "UTF-7", "-t", destination, chunk, "-o", out,
                                     stdin=data)
                    self.assertFailure(result, r"^nlsconv: standard input: malformed "
                                               r"UNICODE-1-1-UTF-7 input in bytes 14-16 "
                                               r"\(status -1302\)\n$")
                    self.assertUntouched(out)

    def test_malformed_modified_utf7_and_stray_bytes(self):
        result = nlsconv("-f", "IMAP-UTF-7", stdin=b"INBOX/ok &AOk- then &&\n")
        self.assertFailure(result, r"malformed IMAP-MODIFIED-UTF-7 input in bytes 20-22 ")
        result = nlsconv("-f", "UTF-7", "-t", "latin1", stdin=b"caf\xe9\n")
        self.assertFailure(result, r"malformed UNICODE-1-1-UTF-7 input in bytes 0-4 ")

    def test_input_ending_inside_a_character(self):
        cases = [
            (UTF8, UCS2, b"abc\xe4\xb8", 3),
            (UTF8, LATIN1, b"line\nabc\xf0\x9f\x98", 8),
            (UCS2, UTF8, "AB".encode("utf-16-le") + b"C", 4),
            (UCS4, UTF8, "AB".encode("utf-32-le") + b"C\0", 8),
        ]
        for source, destination, data, offset in cases:
            for chunk in ("--chunk-size=1", "--chunk-size=3", "--chunk-size=4096"):
                with self.subTest(source=source, destination=destination, chunk=chunk):
                    result = nlsconv("-f", source, "-t", destination, chunk, stdin=data)
                    self.assertFailure(result, r"^nlsconv: standard input: input ends inside a "
                                               rf"character at byte offset {offset}\n$")

    def test_converter_that_stops(self):
        # The table-driven converters end their input at a NUL byte.
        for chunk in ("--chunk-size=1", "--chunk-size=65536"):
            with self.subTest(chunk=chunk):
                result = nlsconv("-f", MACROMAN, chunk, stdin=b"abc\0def\n")
                self.assertFailure(result, r"^nlsconv: standard input: cannot convert the input "
                                           r"from byte offset 3 on\n$")
                self.assertEqual(result.stdout, b"abc")

    def test_interrupt_removes_the_temporary_file(self):
        out = self.existing_output()
        process = subprocess.Popen(EMULATOR + [TOOL, "-f", "latin1", "-o", out],
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=clean_environment())
        try:
            process.stdin.write(b"partial input\n" * 1000)
            process.stdin.flush()
            for _ in range(3000):  # wait until the output is being written
                if any(".nlsconv-" in n for n in os.listdir(self.dir)):
                    break
                time.sleep(0.01)
            else:
                self.fail("no temporary output file appeared")
            process.send_signal(signal.SIGTERM)
            process.wait(timeout=60)
        finally:
            process.kill()
            process.stdin.close()
            process.stderr.close()
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertUntouched(out)

    def test_full_disk(self):
        small = self.path("small.txt", b"small\n")
        large = self.path("large.txt", b"0123456789abcdef" * 40000)
        for source in (small, large):
            with self.subTest(source=source):
                with open("/dev/full", "wb") as full:
                    result = nlsconv("-f", "latin1", source, stdout=full)
                self.assertFailure(result, r"^nlsconv: standard output: No space left on device\n$")
                result = nlsconv("-f", "latin1", "-o", "/dev/full", source)
                self.assertFailure(result, r"^nlsconv: /dev/full: No space left on device\n$")

    def test_output_directory_missing(self):
        out = os.path.join(self.dir, "no", "such", "dir", "out.txt")
        result = nlsconv("-f", "latin1", "-o", out, stdin=b"x")
        self.assertFailure(result, r"No such file or directory\n$")


class OutputFile(Workspace):
    def test_new_file_gets_the_umask_mode(self):
        out = self.path("new.txt")
        old = os.umask(0o027)
        try:
            result = nlsconv("-f", "latin1", "-o", out, stdin=b"abc")
        finally:
            os.umask(old)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.read(out), b"abc")
        self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), 0o640)

    def test_replacing_keeps_the_mode_and_may_read_itself(self):
        out = self.path("text.txt", "é\n".encode("latin-1"))
        os.chmod(out, 0o600)
        result = nlsconv("-f", "latin1", "-o", out, out)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(self.read(out), "é\n".encode())
        self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), 0o600)
        self.assertNoTemporaryFiles()

    def test_symbolic_link_target_is_replaced(self):
        target = self.path("target.txt", b"old")
        link = os.path.join(self.dir, "link.txt")
        os.symlink("target.txt", link)
        result = nlsconv("-f", "latin1", "-o", link, stdin=b"new")
        self.assertEqual(result.returncode, 0)
        self.assertTrue(os.path.islink(link))
        self.assertEqual(self.read(target), b"new")


if __name__ == "__main__":
    unittest.main(verbosity=2)
