"""Japanese text in Shift_JIS, EUC-JP, ISO-2022-JP and UTF-8, made with
Python's codecs, for the detection tests.

Sentences mix hiragana, katakana, kanji, full-width punctuation and ASCII; a
second group is half-width katakana only. Random strings drawn from the
characters of both groups follow. ISO-2022-JP carries half-width katakana
with ESC ( I, through the iso2022_jp_ext codec.

Output: japanese_text.bin, records of
  <u8 kind><u32 chars>  kind 0 = full-width text, 1 = half-width katakana only,
                        2 = random mix; chars = characters above U+007F
  then four <u32 len><bytes> blocks: shift_jis, euc_jp, iso-2022-jp, utf-8
  then <u32 escapes>: JIS designations (ESC $ B, ESC $ @, ESC ( J, ESC ( I,
                      ESC $ ( D) in the ISO-2022-JP bytes
"""
import random
import struct
import sys

FULL_WIDTH = [
    "日本語の文章を正しく判定できるか試します。",
    "今日は天気が良いので、公園へ散歩に行きました。",
    "東京駅から新幹線に乗って大阪まで行く予定です。",
    "コンピュータで文字コードを変換するライブラリ",
    "ひらがなだけのぶんしょうもためしてみましょう",
    "カタカナダケノブンショウモタメシテミマス",
    "漢字検索機能付電子辞書",
    "Version 3.0 のリリースノート：変更点は以下の通りです。",
    "価格は１，２００円（税込）です。",
    "「吾輩は猫である。名前はまだ無い。」と彼は言った。",
    "雨ニモマケズ　風ニモマケズ",
    "朝ご飯にパンと牛乳を食べた。",
    "会議室は三階の奥にあります。",
    "ＡＢＣ株式会社　営業部　山田太郎",
    "お問い合わせはメールでお願いいたします。",
    "桜の花が満開になりました。",
]

HALF_WIDTH = [
    "ｱｲｳｴｵ",
    "ｶﾞｷﾞｸﾞｹﾞｺﾞ",
    "ﾃｽﾄ ﾃﾞｰﾀ",
    "ｺﾝﾋﾟｭｰﾀ",
]

DESIGNATIONS = [b"\x1b$B", b"\x1b$@", b"\x1b(J", b"\x1b(I", b"\x1b$(D"]


def record(out, kind, text):
    half_width = any(0xFF61 <= ord(ch) <= 0xFF9F for ch in text)
    jis_codec = "iso2022_jp_ext" if half_width else "iso2022_jp"
    blocks = [
        text.encode("shift_jis"),
        text.encode("euc_jp"),
        text.encode(jis_codec),
        text.encode("utf-8"),
    ]
    non_ascii = sum(1 for ch in text if ord(ch) > 0x7F)
    escapes = sum(blocks[2].count(d) for d in DESIGNATIONS)
    out.write(struct.pack("<BI", kind, non_ascii))
    for b in blocks:
        out.write(struct.pack("<I", len(b)) + b)
    out.write(struct.pack("<I", escapes))


def main(out_dir):
    rng = random.Random(6021)
    alphabet = sorted(set("".join(FULL_WIDTH + HALF_WIDTH)))
    with open(f"{out_dir}/japanese_text.bin", "wb") as out:
        for s in FULL_WIDTH:
            record(out, 0, s)
        for s in HALF_WIDTH:
            record(out, 1, s)
        for _ in range(400):
            n = rng.randint(0, 60)
            record(out, 2, "".join(rng.choice(alphabet) for _ in range(n)))


if __name__ == "__main__":
    main(sys.argv[1])
