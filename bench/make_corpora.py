#!/usr/bin/env python3
"""Writes the benchmark corpora into OUTDIR, deterministically.

Every corpus is made of lines of pseudo-random words drawn with a fixed seed
from a word list, so two runs write the same bytes. Each text is written in the
encodings the benchmarks read:

  <text>.<encoding>   the text in that encoding (ucs2 and ucs4 in little-endian
                      order without a byte-order mark, the machine order of x86)

Texts: english (ASCII), french (Latin-1 repertoire), japanese, macroman (uses
the characters that Mac OS Roman has and Latin-1 lacks), chinese (simplified),
traditional (traditional Chinese), korean, russian (Cyrillic). Python stdlib
only.

Real text, for the vendor forms of the CJK encodings: ja-man, zh-man, tw-man
and ko-man are the translated manual pages of Debian's manpages-ja,
manpages-zh and manpages-ko (the pages of /usr/share/man/LANG in the order
of their paths, requests and font escapes of the roff source removed, up to
TARGET_CHARS characters; lines with a character that one of the corpus's
encodings lacks are left out). Without the package the corpus is not
written and the benchmarks skip its cases.
"""

import glob
import gzip
import os
import random
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "libs", "gen"))
import glibc_iconv  # noqa: E402

TARGET_CHARS = 1 << 19  # characters per corpus (English: 512 KiB)

ENGLISH = (
    "the of and to in is was that for it as with be on not he by are this had at "
    "from his have but which or they were you all one an she been her would there "
    "their we more when who will if so no said can each what about out many then "
    "them these some could time two way like into has him see than first water long "
    "people number day other after over call did now find little very through just "
    "form sentence great think where help before line right too means old any same "
    "tell boy follow came want show also around farm three small set put end does "
    "another well large must big even such because turn here why ask went men read "
    "need land different home move try kind hand picture again change off play "
    "spell air away animal house point page letter mother answer found study still "
    "learn should America world high every near add food between own below country "
    "plant last school father keep tree never start city earth eye light thought"
).split()

FRENCH = (
    "le la les de des du un une et à est été être avoir où ça très après déjà "
    "première élève école année façon garçon français préféré réponse numéro "
    "théâtre hôpital forêt fenêtre château bientôt côté goût août naïf Noël "
    "maïs leçon reçu commençait ici là-bas voilà déçu "
    "vérité société qualité été hiver printemps automne ville campagne rivière "
    "lumière matière manière frère père mère crème fièvre élégant énergie "
    "économie éducation général différent intéressant problème système siècle "
    "dans pour avec sur par plus comme mais tout nous vous elle ils sont fait "
    "peut bien aussi même encore toujours jamais rien quelque chose temps jour "
    "maison travail pays monde homme femme enfant main tête porte chemin "
    "Québec Genève Besançon Orléans Évry Île Ærø Ça"
).split()

JAPANESE = (
    "日本 東京 大阪 京都 時間 今日 明日 昨日 学校 先生 学生 会社 仕事 電車 "
    "新聞 天気 言葉 世界 経済 政治 社会 文化 歴史 技術 情報 研究 開発 問題 "
    "私は 彼は 彼女は これは それは あれは ここで そこで 毎日 少し たくさん "
    "ありがとう こんにちは さようなら おはよう すみません お願いします "
    "食べます 飲みます 行きます 来ます 見ます 聞きます 話します 書きます "
    "読みます 買います 使います 作ります 考えます 分かります 始めます "
    "コンピュータ ソフトウェア プログラム データベース ネットワーク "
    "インターネット メール サーバー ファイル システム テスト ユーザー "
    "文字コード 変換 符号化 漢字 平仮名 片仮名 全角 半角 表示 入力 出力 "
    "の が を に で と も から まで より へ や か ね よ"
).split()

MACROMAN = (
    "“quoted” ‘single’ – — … • ™ ﬁne ﬂoor ≠ ≤ ≥ ∞ π ∂ ∑ ∏ √ ∆ ◊ Œuvre œil "
    "‰ ‹ › ƒ ‡ † ˆ ˇ ˘ ˙ ˚ ˛ ˝ ı ÷ © ® ° § ¶ ß µ ¬ ≈ ∫ ª º æ ø ¿ ¡ ¥ £ ¢ "
    "café naïve résumé façade déjà élan Ärger Öl Übel ñandú "
    "the of and to in is was that for it as with be on not by are this"
).split()

CHINESE = (
    "中国 北京 上海 时间 今天 明天 学校 老师 学生 公司 工作 经济 政治 社会 "
    "文化 历史 技术 信息 研究 开发 问题 我们 你们 他们 这个 那个 什么 怎么 "
    "因为 所以 但是 如果 已经 还是 可以 应该 没有 知道 觉得 认为 发展 国家 "
    "人民 世界 生活 城市 电脑 软件 程序 数据 网络 系统 文件 用户 汉字 编码 "
    "的 了 在 是 和 有 不 这 也 就 都 而 及 与 着"
).split()

TRADITIONAL = (
    "中國 臺北 香港 時間 今天 明天 學校 老師 學生 公司 工作 經濟 政治 社會 "
    "文化 歷史 技術 資訊 研究 開發 問題 我們 你們 他們 這個 那個 什麼 怎麼 "
    "因為 所以 但是 如果 已經 還是 可以 應該 沒有 知道 覺得 認為 發展 國家 "
    "人民 世界 生活 城市 電腦 軟體 程式 資料 網路 系統 檔案 使用者 漢字 編碼 "
    "的 了 在 是 和 有 不 這 也 就 都 而 及 與 著"
).split()

RUSSIAN = (
    "и в не на я быть он с что а по это она этот к но они мы как из у который "
    "то за свой весь год от так о для ты же все тот мочь вы человек такой его "
    "сказать только или ещё бы себя один когда уже до время если сам другой "
    "вот говорить наш мой знать стать при чтобы дело жизнь кто первый очень "
    "два день её новый рука даже во со раз где там под можно ну какой после "
    "их работа без самый потом надо хотеть ли слово идти большой должен место "
    "иметь ничто Москва Россия город страна история вопрос система программа "
    "компьютер данные файл пользователь кодировка текст буква язык цитата "
    "Пётр Фёдор ёлка объём подъезд съёмка"
).split()

KOREAN = (
    "한국 서울 부산 시간 오늘 내일 어제 학교 선생님 학생 회사 일 경제 정치 "
    "사회 문화 역사 기술 정보 연구 개발 문제 우리 그들 이것 그것 무엇 어떻게 "
    "그래서 하지만 만약 이미 아직 할 수 있다 없다 알다 생각하다 발전 국가 "
    "국민 세계 생활 도시 컴퓨터 소프트웨어 프로그램 데이터 네트워크 시스템 "
    "파일 사용자 한글 한자 인코딩 은 는 이 가 을 를 에 에서 와 과 도"
).split()

# Sentence punctuation per script: (between words, end of sentence).
WESTERN = (" ", ". ")
CJK = ("", "。")


def make_text(seed, words, style, comma):
    rng = random.Random(seed)
    sep, stop = style
    lines = []
    size = 0
    while size < TARGET_CHARS:
        line = []
        for _ in range(rng.randint(2, 4)):
            sentence = [rng.choice(words) for _ in range(rng.randint(4, 14))]
            if len(sentence) > 6 and rng.random() < 0.4:
                sentence[rng.randint(1, len(sentence) - 2)] += comma
            text = sep.join(sentence)
            if text[:1].isascii():  # capitals stay inside every repertoire
                text = text[:1].upper() + text[1:]
            line.append(text + stop)
        if rng.random() < 0.15:
            line.append("%d%s" % (rng.randint(1, 99999), stop))
        joined = "".join(line).rstrip() + "\n"
        lines.append(joined)
        size += len(joined)
    return "".join(lines)


def imap_utf7(text):
    """IMAP modified UTF-7 (RFC 3501): "&" opens base64 with "," for "/",
    printable ASCII stands for itself, "&" is "&-"."""
    import base64

    out = []
    run = []

    def flush():
        if run:
            data = "".join(run).encode("utf-16-be")
            out.append("&" + base64.b64encode(data).decode().rstrip("=").replace("/", ",") + "-")
            run.clear()

    for ch in text:
        if 0x20 <= ord(ch) <= 0x7E:
            flush()
            out.append("&-" if ch == "&" else ch)
        else:
            run.append(ch)
    flush()
    return "".join(out).encode("ascii")


def cesu8(text):
    """CESU-8: UTF-8 of the UTF-16 units (a supplementary character as the
    three-byte forms of its two surrogates)."""
    units = text.encode("utf-16-be", "surrogatepass")
    return "".join(chr(units[k] << 8 | units[k + 1]) for k in range(0, len(units), 2)).encode(
        "utf-8", "surrogatepass")


def escaped_unicode(text):
    """Printable ASCII, tab, line feed and carriage return stand for
    themselves; every other unit is a backslash, "u" and four hex digits."""
    out = []
    for ch in text:
        c = ord(ch)
        if c in (9, 10, 13) or 0x20 <= c <= 0x7E:
            out.append(ch)
        else:
            out.append("\\u%04X" % c)
    return "".join(out).encode("ascii")


CORPORA = {
    # name: (seed, words, style, comma, encodings)
    "english": (1, ENGLISH, WESTERN, ",", ["utf8", "latin1"]),
    "french": (2, FRENCH, WESTERN, ",", ["utf8", "latin1", "cp1252", "utf7", "imap", "eucs",
                                           "ibm037", "utf16", "utf32le"]),
    "japanese": (3, JAPANESE, CJK, "、", ["utf8", "ucs4", "utf7", "imap", "eucs", "sjis", "eucjp",
                                           "iso2022jp", "utf16be", "utf16le", "utf32be", "cesu8", "utf16", "utf32",
                                           "ucs2be", "ucs2le", "eucjis2004"]),
    "macroman": (4, MACROMAN, WESTERN, ",", ["macroman", "utf8"]),
    "chinese": (5, CHINESE, CJK, "，", ["gb2312", "hz", "iso2022cn", "utf8"]),
    "traditional": (6, TRADITIONAL, CJK, "，", ["big5", "euctw", "utf8"]),
    "korean": (7, KOREAN, WESTERN, ",", ["euckr", "iso2022kr", "johab", "utf8"]),
    "russian": (8, RUSSIAN, WESTERN, ",", ["cp1251", "koi8r", "maccyrillic", "ibm855", "utf8"]),
}

# Manual-page corpora: name -> (directory below /usr/share/man, encodings).
MANUAL_PAGES = {
    "ja-man": ("ja", ["cp932", "sjis", "eucjp"]),
    "zh-man": ("zh_CN", ["gbk", "gb18030"]),
    "tw-man": ("zh_TW", ["cp950", "big5hkscs"]),
    "ko-man": ("ko", ["cp949"]),
}


def roff_text(source):
    """The running text of a roff page: requests and comments dropped, font
    and character escapes removed or resolved."""
    lines = []
    for line in source.splitlines():
        if line.startswith((".", "'")):
            m = re.match(r"^\.(?:SH|SS|B|I|BI|BR|IR|RB|RI|IP|TP|TH)\s+(.*)$", line)
            if not m:
                continue
            line = m.group(1).replace('"', "")
        line = re.sub(r"\\f(?:\[[^]]*\]|\(..|.)", "", line)
        line = re.sub(r"\\\((..)", lambda m: {"em": "--", "en": "-", "bu": "*"}.get(m.group(1), ""),
                      line)
        line = line.replace("\\-", "-").replace("\\e", "\\").replace("\\&", "")
        line = re.sub(r"\\[,/|^]", "", line)
        line = line.strip()
        if line:
            lines.append(line)
    return lines


def manual_pages(directory, encodings):
    """Lines of the pages below /usr/share/man/DIRECTORY that every encoding
    can write, up to TARGET_CHARS characters; None without the pages."""
    paths = sorted(glob.glob("/usr/share/man/%s/man*/*.gz" % directory))
    if not paths:
        return None
    lines, size = [], 0
    for path in paths:
        with gzip.open(path, "rb") as f:
            try:
                source = f.read().decode("utf-8")
            except UnicodeDecodeError:
                continue
        for line in roff_text(source):
            try:
                for enc in encodings:
                    ENCODERS[enc](line)
            except UnicodeEncodeError:
                continue
            lines.append(line + "\n")
            size += len(line) + 1
            if size >= TARGET_CHARS:
                return "".join(lines)
    return "".join(lines)


def glibc_text(text, name):
    data, used, err = glibc_iconv.Converter(name, "UTF-32LE").convert(text.encode("utf-32-le"))
    if err:
        raise UnicodeEncodeError(name, text, used // 4, used // 4 + 1, "not in glibc's " + name)
    return data


ENCODERS = {
    "utf8": lambda t: t.encode("utf-8"),
    "latin1": lambda t: t.encode("latin-1"),
    "utf16be": lambda t: t.encode("utf-16-be"),
    "utf16le": lambda t: t.encode("utf-16-le"),
    "utf32be": lambda t: t.encode("utf-32-be"),
    "utf32le": lambda t: t.encode("utf-32-le"),
    # With a byte-order mark, then the machine's order (little-endian here).
    "utf16": lambda t: t.encode("utf-16"),
    "utf32": lambda t: t.encode("utf-32"),
    "ucs2be": lambda t: t.encode("utf-16-be"),
    "ucs2le": lambda t: t.encode("utf-16-le"),
    "cesu8": cesu8,
    "ucs4": lambda t: t.encode("utf-32-le"),
    "utf7": lambda t: t.encode("utf-7"),
    "imap": imap_utf7,
    "eucs": escaped_unicode,
    "macroman": lambda t: t.encode("mac_roman"),
    "sjis": lambda t: t.encode("shift_jis"),
    "eucjp": lambda t: t.encode("euc_jp"),
    "eucjis2004": lambda t: t.encode("euc_jis_2004"),
    "iso2022jp": lambda t: t.encode("iso2022_jp"),
    "gb2312": lambda t: t.encode("gb2312"),
    "big5": lambda t: t.encode("big5"),
    "euckr": lambda t: t.encode("euc_kr"),
    "iso2022kr": lambda t: t.encode("iso2022_kr"),
    "johab": lambda t: t.encode("johab"),
    "hz": lambda t: t.encode("hz"),
    # Python lacks these: glibc's iconv writes them.
    "iso2022cn": lambda t: glibc_text(t, "ISO-2022-CN"),
    "euctw": lambda t: glibc_text(t, "EUC-TW"),
    "cp1251": lambda t: t.encode("cp1251"),
    "koi8r": lambda t: t.encode("koi8_r"),
    "cp1252": lambda t: t.encode("cp1252"),
    "ibm037": lambda t: t.encode("cp037"),
    "ibm855": lambda t: t.encode("cp855"),
    "maccyrillic": lambda t: t.encode("mac_cyrillic"),
    "cp932": lambda t: t.encode("cp932"),
    "gbk": lambda t: t.encode("gbk"),
    "gb18030": lambda t: t.encode("gb18030"),
    "cp950": lambda t: t.encode("cp950"),
    "big5hkscs": lambda t: t.encode("big5hkscs"),
    "cp949": lambda t: t.encode("cp949"),
}


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_corpora.py OUTDIR")
    outdir = sys.argv[1]
    os.makedirs(outdir, exist_ok=True)
    for name, (seed, words, style, comma, encodings) in CORPORA.items():
        text = make_text(seed, words, style, comma)
        # Characters outside the Basic Multilingual Plane would make UCS-2
        # and UCS-4 differ in length; the word lists have none.
        assert all(ord(c) < 0x10000 for c in text)
        files = {"ucs2": text.encode("utf-16-le")}
        for enc in encodings:
            files[enc] = ENCODERS[enc](text)
        for enc, data in files.items():
            with open(os.path.join(outdir, "%s.%s" % (name, enc)), "wb") as f:
                f.write(data)
    for name, (directory, encodings) in MANUAL_PAGES.items():
        text = manual_pages(directory, encodings)
        if text is None:
            print("no manual pages in /usr/share/man/%s: %s not written" % (directory, name))
            continue
        files = {"ucs2": text.encode("utf-16-le"), "utf8": text.encode("utf-8")}
        for enc in encodings:
            files[enc] = ENCODERS[enc](text)
        for enc, data in files.items():
            with open(os.path.join(outdir, "%s.%s" % (name, enc)), "wb") as f:
                f.write(data)


if __name__ == "__main__":
    main()
