"""glibc's iconv, called through ctypes: the oracle from which the CNS 11643
tables are made (libs/gen/cns.py) and the reference codec of the encodings
that Python lacks (tests/oracle/strict_vectors.py)."""
import codecs
import ctypes
import ctypes.util
import errno

_libc = ctypes.CDLL(ctypes.util.find_library("c"), use_errno=True)
_libc.iconv_open.restype = ctypes.c_void_p
_libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
_libc.iconv.restype = ctypes.c_size_t
_libc.iconv.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p),
                        ctypes.POINTER(ctypes.c_size_t), ctypes.POINTER(ctypes.c_char_p),
                        ctypes.POINTER(ctypes.c_size_t)]
_libc.iconv_close.argtypes = [ctypes.c_void_p]
_FAILED = ctypes.c_size_t(-1).value


class Converter:
    """One iconv descriptor; convert() runs a whole text from the initial
    state and returns (output, consumed, errno or 0)."""

    def __init__(self, to, frm):
        self.ignore = to.endswith("//IGNORE")
        self.cd = _libc.iconv_open(to.encode(), frm.encode())
        if self.cd in (None, _FAILED):
            raise LookupError(f"glibc iconv lacks {frm} -> {to}")

    def convert(self, data):
        _libc.iconv(self.cd, None, None, None, None)
        size = 8 * len(data) + 64
        inb = ctypes.create_string_buffer(bytes(data), len(data) or 1)
        outb = ctypes.create_string_buffer(size)
        ip, il = ctypes.c_char_p(ctypes.addressof(inb)), ctypes.c_size_t(len(data))
        op, ol = ctypes.c_char_p(ctypes.addressof(outb)), ctypes.c_size_t(size)
        err = 0
        while _libc.iconv(self.cd, ctypes.byref(ip), ctypes.byref(il), ctypes.byref(op),
                          ctypes.byref(ol)) == _FAILED:
            err = ctypes.get_errno()
            # //IGNORE: glibc reports the skipped characters after a part of
            # the input and goes on with the next call.
            if not (self.ignore and err == errno.EILSEQ and il.value):
                break
            err = 0
        if err:
            pass
        elif _libc.iconv(self.cd, None, None, ctypes.byref(op), ctypes.byref(ol)) == _FAILED:
            err = ctypes.get_errno()
        return outb.raw[:size - ol.value], len(data) - il.value, err

    def __del__(self):
        _libc.iconv_close(self.cd)


def encode_each(glibc_name, cps):
    """The code of each character alone (None where glibc has none), from one
    conversion: the characters between line feeds, those without a code
    skipped (//IGNORE). For encodings whose codes hold no byte 0x0A."""
    converter = Converter(glibc_name + "//IGNORE", "UTF-32LE")
    others = [cp for cp in cps if cp != 0x0A]
    out, _, _ = converter.convert("".join(chr(cp) + "\n" for cp in others).encode("utf-32-le"))
    codes = out.split(b"\n")
    assert len(codes) == len(others) + 1 and codes[-1] == b""
    line_feed = converter.convert(b"\n\0\0\0")[0] or None
    found = iter(codes)
    return [line_feed if cp == 0x0A else next(found) or None for cp in cps]


def codec_info(glibc_name, python_name):
    """A Python codec on glibc's converters (strict errors only on decoding;
    encoding calls the error handler for each character glibc refuses)."""
    to_utf32 = Converter("UTF-32LE", glibc_name)
    from_utf32 = Converter(glibc_name, "UTF-32LE")

    def decode(data, errors="strict"):
        data = bytes(data)
        out, used, err = to_utf32.convert(data)
        if err:
            reason = "incomplete multibyte sequence" if err == errno.EINVAL else "illegal sequence"
            raise UnicodeDecodeError(python_name, data, used,
                                     len(data) if err == errno.EINVAL else used + 1, reason)
        return out.decode("utf-32-le"), len(data)

    def encode(text, errors="strict"):
        out, i = [], 0
        handler = codecs.lookup_error(errors)
        while i < len(text):
            chunk, used, err = from_utf32.convert(text[i:].encode("utf-32-le"))
            if not err:
                out.append(chunk)
                break
            # The part before the refused character, encoded again on its own
            # so that a stateful encoding returns to its initial state there.
            refused = i + used // 4
            if refused > i:
                out.append(from_utf32.convert(text[i:refused].encode("utf-32-le"))[0])
            exc = UnicodeEncodeError(python_name, text, refused, refused + 1,
                                     "character not in the encoding")
            replacement, i = handler(exc)
            out.append(replacement.encode("ascii") if isinstance(replacement, str)
                       else replacement)
        return b"".join(out), len(text)

    return codecs.CodecInfo(encode, decode, name=python_name)
