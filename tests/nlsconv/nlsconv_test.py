#!/usr/bin/env python3
"""End-to-end tests of nlsconv.

The program runs as a subprocess (under the cross-compiling emulator in the
32-bit build). Its output is compared with Python's codecs and with
whole_buffer, one NLS_Iconv call over the whole input, which block-by-block
conversion must equal; messages and exit statuses are checked exactly.

Environment: NLSCONV (the program), NLSCONV_WHOLE_BUFFER (the reference
helper), NLSCONV_EMULATOR (may be empty), NLSCONV_DATA_DIR (the build tree's
data directory, the program's default).

Run one group with: nlsconv_test.py ClassName[.test_name]
"""

import os
import re
import shlex
import signal
import stat
import subprocess
import tempfile
import time
import unittest

TOOL = os.environ.get("NLSCONV", "nlsconv")
WHOLE_BUFFER = os.environ.get("NLSCONV_WHOLE_BUFFER", "whole_buffer")
EMULATOR = shlex.split(os.environ.get("NLSCONV_EMULATOR", ""))
DATA_DIR = os.environ.get("NLSCONV_DATA_DIR", "")

UCS2, UCS4, UTF8, UTF7 = "ISO-10646-UCS-2", "ISO-10646-UCS-4", "UTF-8", "UNICODE-1-1-UTF-7"
LATIN1, MACROMAN, IMAP, ESCAPED = "ISO_8859-1:1987", "x-mac-roman", "IMAP-MODIFIED-UTF-7", \
    "ESCAPED_UNICODE"
# Python's codec for each encoding (both target machines are little-endian);
# None: whole_buffer is the only reference.
CODECS = {UTF8: "utf-8", UCS2: "utf-16-le", UCS4: "utf-32-le", UTF7: "utf-7",
          LATIN1: "latin-1", MACROMAN: "mac_roman", IMAP: None, ESCAPED: None}

# ASCII punctuation (UTF-7 and escapes treat "+", "-", "&" and "\" apart),
# Latin-1, Greek, CJK, characters beyond the BMP, CR LF, long base64 runs.
TEXT = ("Plain: !\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~ end.\n"
        "Latin-1: café naïve Ångström ÿ ß ×÷ ¡¿ «»\n"
        "Greek Αλφάβητο, Cyrillic Съешь, CJK 日本語のテキスト、中文。\n"
        "Astral 😀🎉 𝄞 mixed😀a😀-😀.\r\n" + "é" * 300 + "\n" + "日本語" * 150 + "\n"
        "last line without a line feed: ü")


def nlsconv(*args, stdin=b"", env=None, cwd=None, stdout=subprocess.PIPE):
    environment = {k: v for k, v in os.environ.items() if k != "QV_NLS_DATADIRECTORY"}
    environment.update(env or {})
    return subprocess.run(EMULATOR + [TOOL, *args], input=stdin, stdout=stdout,
                          stderr=subprocess.PIPE, env=environment, cwd=cwd, timeout=900)


def representable(text, encoding):
    """The characters of text that encoding holds (UCS-4 here: no pairs)."""
    if encoding in (LATIN1, MACROMAN):
        return "".join(c for c in text if c.encode(CODECS[encoding], "ignore"))
    return text


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

    def whole_buffer(self, source, target, data):
        src, dst = self.path("whole.in", data), self.path("whole.out")
        result = subprocess.run(EMULATOR + [WHOLE_BUFFER, source, target, src, dst],
                                capture_output=True, timeout=600,
                                env=dict(os.environ, QV_NLS_DATADIRECTORY=DATA_DIR))
        self.assertEqual(result.returncode, 0, f"{source} -> {target}: {result.stderr!r}")
        return self.read(dst)

    def encode(self, text, encoding):
        """text in encoding: Python's codec, else the library from UTF-8."""
        if CODECS.get(encoding):
            return text.encode(CODECS[encoding])
        return self.whole_buffer(UTF8, encoding, text.encode())

    def run_ok(self, *args, stdin=b""):
        result = nlsconv(*args, stdin=stdin)
        self.assertEqual((result.returncode, result.stderr.decode()), (0, ""), args)
        return result.stdout

    def assertResult(self, result, status, stderr, stdout=None):
        self.assertEqual((result.returncode, result.stderr.decode(errors="replace")),
                         (status, stderr))
        if stdout is not None:
            self.assertEqual(result.stdout, stdout)


class Streaming(Workspace):
    """Block by block, with any block size, nlsconv writes what one call over
    the whole input writes, and what Python's codecs write."""

    def test_every_pair_of_built_in_encodings(self):
        large = (TEXT + "\n") * 40  # over 64 KiB: the default blocks cut characters
        for source in CODECS:
            for target in CODECS:
                text = representable(representable(TEXT, source), target)
                data = self.encode(text, source)
                expected = self.whole_buffer(source, target, data)
                if CODECS[target] and target != UTF7:  # UTF-7 encoders may choose differently
                    self.assertEqual(expected, text.encode(CODECS[target]), (source, target))
                for block in ("1", "7"):
                    with self.subTest(source=source, target=target, block=block):
                        self.assertEqual(self.run_ok("-f", source, "-t", target,
                                                     "--chunk-size=" + block, stdin=data),
                                         expected)
                data = self.encode(representable(representable(large, source), target), source)
                with self.subTest(source=source, target=target, block="64 KiB"):
                    self.assertEqual(self.run_ok("-f", source, "-t", target, stdin=data),
                                     self.whole_buffer(source, target, data))

    def test_parallel_output_equals_one_thread(self):
        text = ("Grüße — Ελληνικά, 日本語😀 +-&\\ end\n" * 3000 + "no line feed at the end ü")
        src = self.path("in.txt", text.encode())
        bad = self.path("bad.txt", text.encode()[:60000] + b"\xff" + text.encode()[60000:])
        for target in (UCS2, UCS4, LATIN1, UTF7, ESCAPED):  # UTF-7: one thread
            for args in ([src], ["-c", bad], [bad]):
                with self.subTest(target=target, args=args):
                    one = nlsconv("-f", UTF8, "-t", target, "-j", "1", *args)
                    many = nlsconv("-f", UTF8, "-t", target, "-j", "3", "--piece-size=5000", *args)
                    self.assertEqual((many.returncode, many.stdout, many.stderr),
                                     (one.returncode, one.stdout, one.stderr))
                    self.assertNotEqual(one.stdout, b"")


class Messages(Workspace):
    """Each failure: its message on standard error and exit status 1."""

    def test_conversion_failures(self):
        cases = [  # arguments, input, message after "nlsconv: standard input: "
            (["-f", "UTF-8", "-t", "UTF-8"], b"abcde\xe6\x97d",
             "invalid UTF-8 sequence e6 97 64 at byte offset 5 (line 1, column 6)"),
            (["-f", "utf8", "-t", "ISO-8859-1"], "a\nb😀c日本".encode(),
             "cannot convert U+1F600 (😀) at byte offset 3 (line 2, column 2) to ISO-8859-1"),
            (["-f", "UTF-8", "-t", "ascii"], "l1\r\nl2\n\tx\u200by".encode(),
             "cannot convert U+200B at byte offset 9 (line 3, column 3) to ascii"),
            (["-f", "UTF-8", "-t", "latin1"], b"x" * 1023 + b"\xf0\x9f\x98",
             "incomplete character at the end of the input (byte offset 1023)"),
            (["-f", "UCS-2", "-t", "UTF-8"], "ab".encode("utf-16-le") + b"\x00\xd8" + b"c\x00",
             "invalid UCS-2 sequence 00 d8 at byte offset 4 (line 1, column 3)"),
            (["-f", "UTF-7", "-t", "latin1"], "xx é日\n".encode("utf-7"),
             "cannot convert U+65E5 (日) at byte offset 9 (line 1, column 5) to latin1"),
            (["-f", "UTF-7"], b"a+ZeV", "incomplete character at the end of the input "
                                       "(byte offset 5)"),
        ]
        for args, data, message in cases:
            for block in ("1", "65536"):
                with self.subTest(args=args, block=block):
                    result = nlsconv(*args, "--chunk-size=" + block, stdin=data)
                    self.assertResult(result, 1, f"nlsconv: standard input: {message}\n")

    def test_names(self):
        directory = os.path.join(self.dir, "conv30")
        os.makedirs(directory)
        with open(os.path.join(directory, "encreg.txt"), "w") as f:
            f.write("X-LEGACY ISO-10646-UCS-2 @@staticconvertersINTERNAL@@ "
                    "NewLatin1ToUnicodeEncodingConverter #\n")
        cases = [
            (["-f", "latn1"], "nlsconv: unknown encoding 'latn1'\nnlsconv: did you mean "
                              "'latin-1'? ('nlsconv -l' lists the encodings)\n"),
            (["-f", "UTF-8", "-t", "utf-88"], "nlsconv: unknown encoding 'utf-88'\nnlsconv: did "
                                              "you mean 'UTF-8'? ('nlsconv -l' lists the "
                                              "encodings)\n"),
            (["-f", "qwertyuiop"], "nlsconv: unknown encoding 'qwertyuiop'\n"
                                   "nlsconv: 'nlsconv -l' lists the encodings\n"),
            (["-f", "UTF-8", "-t", "latin1//FOO"], "nlsconv: unknown suffix '//FOO' in "
                                                   "'latin1//FOO' (known: //IGNORE, //TRANSLIT)\n"),
            (["--data-dir", self.dir, "-f", "x-legacy"],
             "nlsconv: encoding 'x-legacy' has no strict converter in this installation\n"),
            (["-f", "auto", "--auto-fallback=bogus"], "nlsconv: unknown encoding 'bogus'\n"
                                                      "nlsconv: 'nlsconv -l' lists the "
                                                      "encodings\n"),
            (["-f", "UTF-8", "-t", "latin1", "--add-signature"],
             "nlsconv: --add-signature: latin1 is not a Unicode encoding form\n"),
        ]
        for args, message in cases:
            with self.subTest(args=args):
                self.assertResult(nlsconv(*args, stdin=b"x"), 1, message, b"")

    def test_usage_errors(self):
        for args in ([], ["-t", "UTF-8"], ["--bogus"], ["-f"], ["-f", "latin1", "-c", "--replace"],
                     ["-f", "latin1", "-j", "0"], ["-f", "latin1", "--auto-fallback=latin1"],
                     ["-l", "--detect"], ["-f", "UTF-8", "-t", "latin1//IGNORE", "--replace"]):
            with self.subTest(args=args):
                result = nlsconv(*args)
                self.assertEqual(result.returncode, 2)
                self.assertRegex(result.stderr.decode(), r"^nlsconv: .*\nTry 'nlsconv --help'")

    def test_input_and_output_errors(self):
        missing = os.path.join(self.dir, "missing")
        self.assertResult(nlsconv("-f", "latin1", missing), 1,
                          f"nlsconv: {missing}: No such file or directory\n")
        self.assertResult(nlsconv("-f", "latin1", self.dir), 1,
                          f"nlsconv: {self.dir}: Is a directory\n")
        for size in (10, 400000):
            src = self.path("in", b"0123456789" * (size // 10))
            with open("/dev/full", "wb") as full:
                self.assertResult(nlsconv("-f", "latin1", src, stdout=full), 1,
                                  "nlsconv: standard output: No space left on device\n")
            self.assertResult(nlsconv("-f", "latin1", "-o", "/dev/full", src), 1,
                              "nlsconv: /dev/full: No space left on device\n")


class Lossy(Workspace):
    """-c, --replace and the suffixes: the conversion goes on, exit 0, one
    line of counts on standard error."""

    def test_omit_replace_approximate(self):
        bad = "a é日\n".encode() + b"\xff" + "b😀\n".encode()
        cases = [  # arguments, input, output, counts
            (["-c", "-t", "latin1"], bad, b"a \xe9\nb\n",
             "3 characters omitted (1 invalid input sequence, 2 not representable in latin1)"),
            (["-t", "latin1//IGNORE"], bad, b"a \xe9\nb\n",
             "3 characters omitted (1 invalid input sequence, 2 not representable in latin1)"),
            (["--replace", "-t", "latin1"], bad, b"a \xe9?\n?b?\n",
             "3 characters replaced (1 invalid input sequence, 2 not representable in latin1)"),
            (["--replace", "-t", "UTF-8"], bad, "a é日\n\ufffdb😀\n".encode(),
             "1 character replaced (1 invalid input sequence)"),
            (["--replace", "-t", "UTF-7"], bad, "a é日\n\ufffdb😀\n".encode("utf-7"),
             "1 character replaced (1 invalid input sequence)"),
            (["-t", "latin1//TRANSLIT"], "“q” … ﬁ\n".encode(), b'"q" ... fi\n',
             "4 characters approximated"),
            (["-t", "ascii//TRANSLIT//IGNORE", "--chunk-size=1"], "“é” 日\n".encode(),
             b'"e" \n', "3 characters approximated, 1 omitted (1 not representable in ascii)"),
        ]
        for args, data, output, counts in cases:
            with self.subTest(args=args):
                result = nlsconv("-f", "UTF-8", *args, stdin=data)
                self.assertResult(result, 0, f"nlsconv: {counts}\n")
                if "UTF-7" in args:
                    self.assertEqual(result.stdout.decode("utf-7"), output.decode("utf-7"))
                else:
                    self.assertEqual(result.stdout, output)

    def test_one_line_for_all_inputs_and_stateful_source(self):
        a = self.path("a", "a+AOll5Q-b\n".encode())  # é日 in one base64 run
        b = self.path("b", "+ZeVnLA-c\n".encode())
        self.assertResult(nlsconv("-f", "UTF-7", "-t", "latin1", "-c", a, b), 0,
                          "nlsconv: 3 characters omitted (3 not representable in latin1)\n",
                          b"a\xe9b\nc\n")


class OutputFile(Workspace):
    def existing(self):
        out = self.path("existing.txt", b"keep me\n")
        os.chmod(out, 0o640)
        return out

    def assertUntouched(self, out):
        self.assertEqual(self.read(out), b"keep me\n")
        self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), 0o640)
        self.assertEqual([n for n in os.listdir(self.dir) if ".nlsconv-" in n], [])

    def test_failure_leaves_the_file_as_it_was(self):
        out = self.existing()
        good = self.path("good.txt", b"fine\n")
        for args in (["-f", "UTF-8", "-t", "latin1", good, "-"], ["-f", "bogus", good],
                     ["-f", "UTF-8", good, os.path.join(self.dir, "missing")],
                     ["-f", "UTF-8", "-j", "2", "--piece-size=3", good, "-"]):
            with self.subTest(args=args):
                self.assertEqual(nlsconv("-o", out, *args, stdin="日".encode() + b"\xff").returncode, 1)
                self.assertUntouched(out)

    def test_success_replaces_keeps_mode_and_may_read_itself(self):
        out = self.path("text.txt", "é\n".encode("latin-1"))
        os.chmod(out, 0o600)
        self.assertResult(nlsconv("-f", "latin1", "-o", out, out, "-", stdin=b"\xe0"), 0, "")
        self.assertEqual(self.read(out), "é\nà".encode())
        self.assertEqual(stat.S_IMODE(os.stat(out).st_mode), 0o600)

    def test_interrupt_removes_the_temporary_file(self):
        out = self.existing()
        process = subprocess.Popen(EMULATOR + [TOOL, "-f", "latin1", "-o", out],
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            process.stdin.write(b"partial input\n" * 30000)
            process.stdin.flush()
            for _ in range(3000):  # until the output is being written
                if any(".nlsconv-" in n for n in os.listdir(self.dir)):
                    break
                time.sleep(0.01)
            process.send_signal(signal.SIGTERM)
            process.wait(timeout=60)
        finally:
            process.kill()
            process.stdin.close()
            process.stderr.close()
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertUntouched(out)


class Signatures(Workspace):
    def test_signature_options(self):
        bom8 = b"\xef\xbb\xbfh\xc3\xa9\n"
        cases = [  # arguments, input, output
            (["-f", "UTF-8"], bom8, bom8),  # U+FEFF is a character
            (["-f", "UTF-8", "--remove-signature"], bom8, "hé\n".encode()),
            (["-f", "UTF-8", "-t", "latin1", "--remove-signature"], bom8, b"h\xe9\n"),
            (["-f", "UCS-2", "--remove-signature"], "\ufeffhé\n".encode("utf-16-le"),
             "hé\n".encode()),
            (["-f", "latin1", "--add-signature"], b"h\xe9\n", bom8),
            (["-f", "UTF-8", "-t", "UCS-2", "--add-signature", "--remove-signature"], bom8,
             "\ufeffhé\n".encode("utf-16-le")),
            (["-f", "latin1", "-t", "UCS-4", "--add-signature", "-", "-"], b"a",
             "\ufeffa".encode("utf-32-le")),  # once per output
            # UTF-16 and UTF-32 write their own mark, and only that one.
            (["-f", "latin1", "-t", "UTF-16", "--add-signature"], b"a", b"\xff\xfea\x00"),
            (["-f", "latin1", "-t", "UTF-32BE", "--add-signature"], b"a",
             b"\x00\x00\xfe\xff\x00\x00\x00a"),
            (["-f", "UTF-16", "-t", "latin1"], b"\xfe\xff\x00h\x00\xe9", b"h\xe9"),
        ]
        for args, data, output in cases:
            with self.subTest(args=args):
                self.assertResult(nlsconv(*args, stdin=data), 0, "", output)

    def test_auto_and_detect_report_and_strip_the_mark(self):
        text = "Grüße, 日本 \U0001F600\n"
        for codec, name, mark in (("utf-8-sig", "UTF-8", "ef bb bf"),
                                  ("utf-16", "UTF-16LE", "ff fe"),
                                  ("utf-32", "UTF-32LE", "ff fe 00 00"),
                                  ("utf-16-be", "UTF-16BE", "fe ff"),
                                  ("utf-32-be", "UTF-32BE", "00 00 fe ff")):
            data = text.encode(codec)
            if codec.endswith("-be"):
                data = "\ufeff".encode(codec) + data
            src = self.path(name, data)
            self.assertResult(nlsconv("--detect", src), 0, "",
                              f"{src}: {name} (byte-order mark {mark})\n".encode())
            self.assertResult(nlsconv("-f", "auto", src), 0,
                              f"nlsconv: {src}: detected {name} (byte-order mark {mark})\n",
                              text.encode())
            self.assertResult(nlsconv("-f", name, "--remove-signature", src), 0, "",
                              text.encode())


class Detection(Workspace):
    def test_detect(self):
        utf8 = self.path("utf8.txt", "Grüße aus Köln, 日本\n".encode())
        ascii_ = self.path("ascii.txt", b"plain text\n")
        binary = self.path("binary", bytes(range(256)) * 4)
        result = nlsconv("--detect", utf8, ascii_, binary)
        self.assertResult(result, 0, "")
        self.assertRegex(result.stdout.decode(), f"^{re.escape(utf8)}: UTF-8 \\(confidence "
                         f"(?:[5-9][0-9]|100)%\\)\n{re.escape(ascii_)}: US-ASCII \\(confidence 100%\\)\n"
                         f"{re.escape(binary)}: no encoding recognised\n$")
        french = self.path("fr.txt", "réunion à côté\n".encode("latin-1"))
        lines = nlsconv("--detect", "-v", french).stdout.decode().splitlines()
        self.assertRegex(lines[0], f"^{re.escape(french)}: ISO_8859-1:1987 "
                         r"\(confidence (?:[5-9]\d|100)%, language fr\)$")
        self.assertGreater(len(lines), 1)
        self.assertTrue(all(re.match(r"^  \S+ \(confidence \d+%", line) for line in lines[1:]))

    def test_auto_converts_refuses_or_falls_back(self):
        utf8 = self.path("utf8.txt", "é and 中\n".encode())
        ascii_ = self.path("ascii.txt", b"just ascii\n")
        result = nlsconv("-f", "auto", "-t", UCS2, utf8, ascii_)
        self.assertEqual((result.returncode, result.stdout),
                         (0, "é and 中\njust ascii\n".encode("utf-16-le")))
        self.assertRegex(result.stderr.decode(), f"^nlsconv: {re.escape(utf8)}: detected UTF-8 "
                         rf"\(confidence (?:[5-9]\d|100)%\)\nnlsconv: {re.escape(ascii_)}: detected "
                         r"US-ASCII \(confidence 100%\), converting as UTF-8\n$")
        unclear = self.path("unclear", b"\xc4\xe5")
        result = nlsconv("-f", "auto", unclear)
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertRegex(result.stderr.decode(), f"^nlsconv: {re.escape(unclear)}: unclear "
                         r"encoding: \S+ \(confidence [1-4]?\d%.*; give -f NAME, or "
                         r"--auto-fallback=NAME for such inputs\n$")
        self.assertResult(nlsconv("-f", "auto", "--auto-fallback=latin1", unclear), 0,
                          f"nlsconv: {unclear}: " + result.stderr.decode().split(": ", 2)[2]
                          .replace("; give -f NAME, or --auto-fallback=NAME for such inputs",
                                   "; converting from latin1"), "Äå".encode())

    def test_invalid_beyond_the_sample_stops_with_the_detected_name(self):
        data = "Grüße\n".encode() * 20 + b"caf\xe9\n"
        self.assertResult(nlsconv("-f", "auto", "--detect-limit=64", stdin=data), 1,
                          "nlsconv: standard input: detected UTF-8 (confidence 100%)\n"
                          "nlsconv: standard input: invalid UTF-8 sequence e9 0a at byte offset "
                          "163 (line 21, column 4); UTF-8 was detected in the first 64 bytes\n")


class Options(Workspace):
    def test_list(self):
        result = nlsconv("-l")
        self.assertResult(result, 0, "")
        rows = [line.split() for line in result.stdout.decode().splitlines()]
        latin1 = [row for row in rows if "latin1" in row]
        self.assertEqual([row[0] for row in latin1], [LATIN1])
        for row in rows:  # every name listed converts
            with self.subTest(row=row):
                self.assertEqual(nlsconv("-f", "UTF-8", "-t", row[-1], stdin=b"A").returncode, 0)
        pairs = nlsconv("--list-pairs").stdout.decode().splitlines()
        self.assertIn(f"{UTF8} -> {UCS2}", pairs)
        self.assertIn(f"{UCS2} -> {MACROMAN}", pairs)

    def test_help_version_progress_inputs(self):
        usage = self.run_ok("--help").decode()
        for option in ("--from-code", "--to-code", "--output", "--list-pairs", "--replace",
                       "--add-signature", "--remove-signature", "--auto-fallback", "--jobs",
                       "--detect", "--data-dir", "--progress", "//TRANSLIT", DATA_DIR):
            self.assertIn(option, usage)
        self.assertEqual(self.run_ok("-V"), b"nlsconv (nlscnv) 3.0.0\n")
        a = self.path("a", "première\n".encode("latin-1"))
        self.assertEqual(self.run_ok("-f", "latin1", a, "-", a, stdin=b"[\xe9]\n"),
                         "première\n[é]\npremière\n".encode())
        self.assertEqual(self.run_ok("-f", "UTF-7", self.path("empty", b"")), b"")
        big = self.path("big", ("x" * 99 + "\n").encode() * 300)
        result = nlsconv("-f", "latin1", "--progress", "--chunk-size=1000", big)
        self.assertRegex(result.stderr.decode().splitlines()[-1],
                         r"^nlsconv: 29\.3 KiB of 29\.3 KiB \(100%\), [0-9.]+ [KMGT]?i?B/s$")

    def test_data_directory_option_then_environment_never_current_directory(self):
        dirs = {}
        for name, target in (("utf8", UTF8), ("latin", LATIN1)):
            dirs[name] = os.path.join(self.dir, name)
            os.makedirs(os.path.join(dirs[name], "conv30"))
            for file, text in (("encreg.txt", ""), ("aliasreg.txt", f"pick {target}\n")):
                with open(os.path.join(dirs[name], "conv30", file), "w") as f:
                    f.write(text)
        env = {"QV_NLS_DATADIRECTORY": dirs["utf8"]}
        self.assertEqual(nlsconv("-f", "pick", stdin="é".encode(), env=env).stdout, "é".encode())
        self.assertEqual(nlsconv("--data-dir", dirs["latin"], "-f", "pick", stdin="é".encode(),
                                 env=env).stdout, "Ã©".encode())
        result = nlsconv("-f", "pick", stdin=b"x", cwd=dirs["utf8"])
        self.assertEqual(result.returncode, 1)
        self.assertIn("unknown encoding 'pick'", result.stderr.decode())


    def test_registry_files_missing_or_refused(self):
        result = nlsconv("--data-dir", self.dir, "-f", "latin1", stdin=b"x")
        self.assertResult(result, 1, f"nlsconv: no registry files in {self.dir}/conv30/\n")
        open_dir = os.path.join(self.dir, "open")
        os.makedirs(os.path.join(open_dir, "conv30"))
        for file, text in (("encreg.txt", ""), ("aliasreg.txt", "pick UTF-8\n")):
            with open(os.path.join(open_dir, "conv30", file), "w") as f:
                f.write(text)
        os.chmod(os.path.join(open_dir, "conv30"), 0o777)
        result = nlsconv("--data-dir", open_dir + "/", "-f", "pick", stdin=b"a\n")
        self.assertResult(result, 1, f"nlsconv: registry files in {open_dir}/conv30/ "
                                     "refused: directory writable by others\n")

if __name__ == "__main__":
    unittest.main(verbosity=2)
