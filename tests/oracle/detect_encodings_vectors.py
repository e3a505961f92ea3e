"""Cases for NLS_DetectEncodings, made with Python's codecs.

Writes detect_encodings.txt: one case per line,
    kind <TAB> accepted names (|-separated) <TAB> BOM length <TAB> language <TAB> hex bytes
kind "first": the first candidate is one of the names, with that BOM length
and (unless "-") that language; "not": the first candidate is none of the
names; "any": something is recognised; "none": nothing is recognised (-1016); "heldout-1024" and
"heldout-100": samples of bench/detect_eval.py's held-out catalogue text,
the names being every encoding that decodes the sample to the label's text.
"""
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "bench"))
import detect_eval  # noqa: E402

FRENCH = "L'été dernier, nous avons réuni les élèves à Besançon pour une fête. "
RUSSIAN = "Съешь же ещё этих мягких французских булок, да выпей чаю. Привет, мир! "
GREEK = "Η γρήγορη καφέ αλεπού πηδάει πάνω από τον τεμπέλη σκύλο. Καλημέρα κόσμε! "
JAPANESE = "日本語のテキストを正しく判定できるかどうかを確かめます。漢字とひらがな、カタカナ。"
CHINESE = "我们的国家有很多美丽的地方，人民生活在这里，每天都在学习和工作。中文简体文字。"
TRADITIONAL = "這是一個用來測試繁體中文編碼判斷的句子，我們希望結果正確無誤。臺灣的學生。"
KOREAN = "한국어 문장을 올바르게 판별할 수 있는지 확인합니다. 안녕하세요, 세계! 대한민국."


def readers(data, text, bom=0):
    """Every name whose codec decodes data[bom:] to text."""
    return [name for name in detect_eval.CODECS if detect_eval.decode(name, data, bom) == text]


def main():
    out_dir = sys.argv[1]
    cases = []

    def case(kind, names, data, bom=0, language="-"):
        cases.append("%s\t%s\t%d\t%s\t%s" % (kind, "|".join(names), bom, language, data.hex()))

    mixed = "Grüße, мир, 日本 "
    for name, data, bom in [("UTF-8", b"\xef\xbb\xbf", 3), ("UTF-16LE", b"\xff\xfe", 2),
                            ("UTF-16BE", b"\xfe\xff", 2), ("UTF-32LE", b"\xff\xfe\x00\x00", 4),
                            ("UTF-32BE", b"\x00\x00\xfe\xff", 4)]:
        codec = detect_eval.CODECS[name]
        case("first", [name], data, bom)
        case("first", [name], data + mixed.encode(codec), bom)
    case("none", [], b"")
    case("none", [], b"\x00")
    case("none", [], bytes(range(0, 32)) * 8)
    case("first", ["US-ASCII"], b"a")
    case("first", ["US-ASCII"], b"C++ is a+b, 1+1=2; ~ is fine.\n")
    case("first", ["UTF-8"], "é".encode())
    case("any", [], b"\xe9")
    case("first", readers(b"caf\xe9", "café"), b"caf\xe9")
    case("not", ["UTF-8"], b"caf\xc0\xaf and \xed\xa0\x80 here")
    pair = "\ud83d\ude00".encode("utf-8", "surrogatepass")  # U+1F600 as two sequences
    case("first", ["CESU-8"], b"emoji " + pair + b" ok")

    # Supersets named only by the characters they add.
    case("first", ["Shift_JIS"], JAPANESE.encode("shift_jis"), language="ja")
    case("first", ["windows-31j"], (JAPANESE + "①②").encode("cp932"), language="ja")
    case("first", ["Extended_UNIX_Code_Packed_Format_for_Japanese"], JAPANESE.encode("euc_jp"))
    case("first", ["GB2312"], CHINESE.encode("gb2312"), language="zh")
    case("first", ["GBK"], (CHINESE + "丂").encode("gbk"), language="zh")
    case("first", ["GB18030"], (CHINESE + "Ā").encode("gb18030"), language="zh")
    case("first", ["Big5"], TRADITIONAL.encode("big5"), language="zh")
    case("first", ["Big5-HKSCS"], (TRADITIONAL + "㐵").encode("big5hkscs"), language="zh")
    case("first", ["EUC-KR"], KOREAN.encode("euc_kr"), language="ko")
    case("first", ["windows-949"], (KOREAN + "똠").encode("cp949"), language="ko")

    # C1 bytes used as windows-1252 characters, and text without them.
    case("first", ["windows-1252"], (FRENCH + "C’est déjà l’été… 5 €").encode("cp1252"))
    case("first", ["ISO_8859-1:1987"], FRENCH.encode("latin-1"), language="fr")

    # Escapes, shifts and base64 runs.
    case("first", ["ISO-2022-JP"], JAPANESE.encode("iso2022_jp"))
    case("first", ["ISO-2022-KR"], KOREAN.encode("iso2022_kr"))
    case("first", ["HZ-GB-2312"], CHINESE.encode("hz"))
    case("first", ["UNICODE-1-1-UTF-7"], (FRENCH + JAPANESE).encode("utf-7"))
    gb = CHINESE[:10].encode("gb2312")
    case("first", ["ISO-2022-CN"], b"abc \x1b$)A\x0e" + bytes(b & 0x7F for b in gb) + b"\x0f def\n")

    # UTF-16 and UTF-32 without a mark.
    for codec, name in [("utf-16-le", "UTF-16LE"), ("utf-16-be", "UTF-16BE"),
                        ("utf-32-le", "UTF-32LE"), ("utf-32-be", "UTF-32BE")]:
        case("first", [name], FRENCH.encode(codec))
        case("first", [name], JAPANESE.encode(codec))

    # Languages of single-byte text.
    case("first", ["KOI8-R"], RUSSIAN.encode("koi8_r"), language="ru")
    case("first", ["windows-1251"], RUSSIAN.encode("cp1251"), language="ru")
    case("first", ["IBM866"], RUSSIAN.encode("cp866"), language="ru")
    case("first", ["windows-1253"], GREEK.encode("cp1253"), language="el")

    # Held-out text: a few samples per labelled encoding.
    texts, _ = detect_eval.eval_text()
    for size in (1024, 100):
        for label, _, data in detect_eval.make_samples(texts, 4, sizes=[size]):
            truth = detect_eval.decode(label, data)
            if label == "UTF-16":
                case("heldout-%d" % size, ["UTF-16LE"], data, 2)
            else:
                case("heldout-%d" % size, readers(data, truth) or [label], data)

    with open(os.path.join(out_dir, "detect_encodings.txt"), "w", encoding="ascii") as f:
        f.write("\n".join(cases) + "\n")


if __name__ == "__main__":
    main()
