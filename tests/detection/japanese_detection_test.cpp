// Byte-pattern detection: exact byte examples for each rule, then agreement
// with the reference transcription on exhaustive short buffers, random biased
// buffers, Japanese text from Python's codecs and every prefix of it, with the
// buffers placed against inaccessible pages.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <random>
#include <sstream>

#include "detection/detection_reference.h"
#include "detection/detection_test_util.h"
#include "nlscnv/converter.h"
#include "nlscnv/detection/utf8_detector.h"

using nls_test::B;
using nls_test::Bytes;

namespace {

constexpr unsigned char ESC = 0x1B;
constexpr int32_t kUntouched = 0x5A5A5A5A;

int Sjis(const Bytes& b) { return isSJIS(b.data(), static_cast<int>(b.size())); }
int Euc(const Bytes& b) { return isEUCJP(b.data(), static_cast<int>(b.size())); }
int Jcsid(const Bytes& b, unsigned short def = 261) {
  return detect_JCSID(def, b.data(), static_cast<int>(b.size()));
}

// A record whose every field shows whether the call wrote it.
_NLS_AUTO_DETECT_RESULT Prefilled() {
  _NLS_AUTO_DETECT_RESULT r;
  r.encoding = "untouched";
  r.confidence = 77;
  r.reserved = kUntouched;
  r.error = -5;
  return r;
}

_NLS_AUTO_DETECT_RESULT Utf8(const Bytes& b) {
  _NLS_AUTO_DETECT_RESULT r = Prefilled();
  AutoDetect_UTF8(b.data(), static_cast<unsigned>(b.size()), &r);
  EXPECT_EQ(r.reserved, kUntouched);
  return r;
}

_NLS_AUTO_DETECT_RESULT Jis(const Bytes& b) {
  _NLS_AUTO_DETECT_RESULT r = Prefilled();
  AutoDetect_JIS(b.data(), static_cast<unsigned>(b.size()), &r);
  EXPECT_EQ(r.reserved, kUntouched);
  return r;
}

std::string Hex(const unsigned char* p, size_t n) {
  std::string s;
  char cell[4];
  for (size_t i = 0; i < n; ++i) {
    std::snprintf(cell, sizeof cell, "%02X ", p[i]);
    s += cell;
  }
  return s.empty() ? "(empty)" : s;
}

// Runs every detection entry point on p[0, n) and returns a description of
// the first disagreement with the reference, or "" when all agree.
std::string Disagreement(const unsigned char* p, size_t n) {
  const ref::Text t{p, n};
  const int len = static_cast<int>(n);
  const unsigned ulen = static_cast<unsigned>(n);
  std::ostringstream why;
  if (int got = isSJIS(p, len), want = ref::Sjis(t); got != want)
    why << "isSJIS " << got << " want " << want;
  else if (int got = isEUCJP(p, len), want = ref::Euc(t); got != want)
    why << "isEUCJP " << got << " want " << want;
  if (!why.str().empty()) return why.str();
  for (unsigned short def : {0, 1, 260, 261, 515, 0xFFFF}) {
    const int got = detect_JCSID(def, p, len), want = ref::Jcsid(def, t);
    if (got != want) {
      why << "detect_JCSID(" << def << ") " << got << " want " << want;
      return why.str();
    }
  }

  const ref::Utf8Walk walk = ref::WalkUtf8(t);
  _NLS_AUTO_DETECT_RESULT r = Prefilled();
  AutoDetect_UTF8(p, ulen, &r);
  if (std::string(r.encoding) != "UTF-8" || r.confidence != walk.sequences ||
      r.error != (walk.bad ? 1 : 0) || r.reserved != kUntouched) {
    why << "AutoDetect_UTF8 " << r.encoding << "/" << r.confidence << "/" << r.error << " want "
        << walk.sequences << "/" << walk.bad;
    return why.str();
  }

  bool jisBad = false;
  const uint32_t escapes = ref::JisCount(t, &jisBad);
  r = Prefilled();
  AutoDetect_JIS(p, ulen, &r);
  if (std::string(r.encoding) != "ISO-2022-JP" || r.confidence != escapes ||
      r.error != (jisBad ? 1 : 0) || r.reserved != kUntouched) {
    why << "AutoDetect_JIS " << r.confidence << "/" << r.error << " want " << escapes << "/"
        << jisBad;
    return why.str();
  }

  // The detector adds to a record that the caller prepared.
  TUTF8Detector detector;
  r = Prefilled();
  if (detector.DetectBufferEncoding(reinterpret_cast<const char*>(p), ulen, &r) != 1 ||
      std::string(r.encoding) != "untouched" || r.confidence != 77 + walk.sequences ||
      r.error != -5 + ((walk.bad || walk.inTrail) ? 1 : 0) || r.reserved != kUntouched) {
    why << "TUTF8Detector " << r.confidence << "/" << r.error;
    return why.str();
  }

  uint32_t confidence = 0;
  const std::string name = ref::DetectedName(t, &confidence);
  r = Prefilled();
  unsigned count = 99;
  const int status = NLS_DetectEncodingForBuffer(p, ulen, &r, 0xDEADBEEF, &count);
  const bool ok = name.empty()
                      ? status == -1016 && count == 0 && std::string(r.encoding) == "untouched" &&
                            r.confidence == 77 && r.error == -5
                      : status == 1 && count == 1 && name == r.encoding &&
                            r.confidence == confidence && r.error == 0;
  if (!ok || r.reserved != kUntouched) {
    why << "NLS_DetectEncodingForBuffer " << status << " " << r.encoding << "/" << r.confidence
        << " want " << (name.empty() ? "-1016" : name) << "/" << confidence;
  }
  return why.str();
}

std::string Disagreement(const Bytes& b) { return Disagreement(b.data(), b.size()); }

// ---- Exact examples ----------------------------------------------------

TEST(IsSJIS, VerdictsOnLeadAndTrailBytes) {
  EXPECT_EQ(Sjis({0x82, 0xA0}), 1);   // hiragana lead: only Shift_JIS
  EXPECT_EQ(Sjis({0x8E, 0xB1}), -1);  // also EUC-JP katakana
  EXPECT_EQ(Sjis({0x8F, 0xA1}), -1);
  EXPECT_EQ(Sjis({0x8E, 0x41}), 1);
  EXPECT_EQ(Sjis({0x8F, 0xA0}), 1);
  EXPECT_EQ(Sjis({0xF0}), 0);
  EXPECT_EQ(Sjis({0xFF}), 0);
  EXPECT_EQ(Sjis({0x41, 0x80}), 0);
  EXPECT_EQ(Sjis({0x81}), -1);  // lead cut by the end
  EXPECT_EQ(Sjis({0x81, 0x3F}), 0);
  EXPECT_EQ(Sjis({0x81, 0xFD}), 0);
  EXPECT_EQ(Sjis({0x81, 0x40}), 1);
  EXPECT_EQ(Sjis({0x9F, 0xFC}), 1);
  EXPECT_EQ(Sjis({0xA0, 0xB1, 0xDF}), -1);  // single-byte katakana
  EXPECT_EQ(Sjis({0xE0, 0x40}), -1);        // pair shared with EUC-JP: passed over
  EXPECT_EQ(Sjis({0xEF, 0xFC, 0x82, 0xA0}), 1);
  EXPECT_EQ(Sjis({0xE0, 0x3F}), 0);
  EXPECT_EQ(Sjis({0xE0}), -1);
  EXPECT_EQ(Sjis({}), -1);
  EXPECT_EQ(isSJIS(nullptr, 0), -1);
  EXPECT_EQ(isSJIS(reinterpret_cast<const unsigned char*>("\x82\xA0"), -2), -1);
}

TEST(IsEUCJP, VerdictsOnLeadAndTrailBytes) {
  EXPECT_EQ(Euc({0x8F, 0xB0, 0xA1, 0x41}), -1);  // three-byte sequence passed over whole
  EXPECT_EQ(Euc({0xA4, 0xA2}), -1);
  EXPECT_EQ(Euc({0xA4, 0x41}), 0);
  EXPECT_EQ(Euc({0xF0, 0xA1}), 1);  // no Shift_JIS lead in 0xF0-0xFE
  EXPECT_EQ(Euc({0xFE, 0xFE}), 1);
  EXPECT_EQ(Euc({0xF0}), -1);
  EXPECT_EQ(Euc({0xF0, 0x41}), 0);
  EXPECT_EQ(Euc({0xFF}), 0);
  EXPECT_EQ(Euc({0x8E, 0xDF}), -1);
  EXPECT_EQ(Euc({0x8E, 0xE0}), 0);  // katakana ends at 0xDF
  EXPECT_EQ(Euc({0x8E, 0xA0}), 0);
  EXPECT_EQ(Euc({0x8F, 0xA1}), -1);  // cut inside the three-byte sequence
  EXPECT_EQ(Euc({0x8F, 0xA1, 0x41}), 0);
  EXPECT_EQ(Euc({0x8F, 0x41}), 0);  // out of range before the end
  EXPECT_EQ(Euc({0x8F, 0xA1, 0xFF}), 0);
  EXPECT_EQ(Euc({0x80, 0xA1, 0x9F, 0xFE}), -1);  // any lead up to 0xEF takes one trail
  EXPECT_EQ(Euc({0xEF, 0xA1, 0xA4}), -1);
  EXPECT_EQ(Euc({0xA1, 0xFF}), 0);
  EXPECT_EQ(Euc({0xA0, 0xA0, 0x41}), -1);
  EXPECT_EQ(Euc({0xA4, 0xA2, 0xF5, 0xA1, 0xFF}), 1);  // decided before the bad byte
  EXPECT_EQ(Euc({}), -1);
  EXPECT_EQ(isEUCJP(nullptr, 0), -1);
  EXPECT_EQ(isEUCJP(reinterpret_cast<const unsigned char*>("\xFF"), -1), -1);
}

TEST(DetectJCSID, EscapeSequencesInSevenBitText) {
  EXPECT_EQ(Jcsid(B("hello world")), 1);
  EXPECT_EQ(Jcsid({'a', 'b', 'c', ESC, '$', 'B', 0x46, 0x7C, ESC, '(', 'B'}), 515);
  EXPECT_EQ(Jcsid({ESC, '$', '(', 'D', 'x', 'x'}), 515);
  EXPECT_EQ(Jcsid({ESC, '$', '(', 'D'}), 515);  // exactly four bytes left
  EXPECT_EQ(Jcsid({'a', ESC, '$', '@'}), 515);
  EXPECT_EQ(Jcsid({ESC, '(', 'J'}), 515);
  EXPECT_EQ(Jcsid({ESC, '(', 'I'}), 515);
  EXPECT_EQ(Jcsid({'a', ESC, '$'}), 1);  // cut: needs three bytes
  EXPECT_EQ(Jcsid({ESC, '$', '('}), 1);  // cut: needs four
  EXPECT_EQ(Jcsid({ESC, '(', 'B'}), 1);  // ASCII designation does not count
  EXPECT_EQ(Jcsid({ESC, '$', 'A'}), 1);
  EXPECT_EQ(Jcsid({0xA0, ESC, '$', 'B'}), 515);  // 0xA0 belongs to the 7-bit walk
  // After the first 8-bit byte, escapes are no longer looked for.
  EXPECT_EQ(Jcsid({0xB1, ESC, '$', 'B'}), 260);
  EXPECT_EQ(Jcsid({0xE0, 0xA1, ESC, '$', 'B'}), 1);
  EXPECT_EQ(Jcsid({}), 1);
  EXPECT_EQ(detect_JCSID(261, nullptr, 0), 1);
  EXPECT_EQ(detect_JCSID(261, reinterpret_cast<const unsigned char*>("\x1b$B"), -3), 1);
}

TEST(DetectJCSID, LeadBytes) {
  EXPECT_EQ(Jcsid({0x93, 0xFA, 0x96, 0x7B, 0x8C, 0xEA}), 260);  // 日本語 in Shift_JIS
  EXPECT_EQ(Jcsid({0xC6, 0xFC, 0xCB, 0xDC, 0xB8, 0xEC}), 261);  // 日本語 in EUC-JP
  EXPECT_EQ(Jcsid({'a', 'b', 'c', 0x80}), 0);
  EXPECT_EQ(Jcsid({'a', 0xFF}), 0);
  EXPECT_EQ(Jcsid({0x81}), 260);
  EXPECT_EQ(Jcsid({0x8D, 0xFF}), 260);  // decided by the lead alone
  EXPECT_EQ(Jcsid({0xF0}), 261);
  EXPECT_EQ(Jcsid({0xFE, 0x41}), 261);
  EXPECT_EQ(Jcsid({0x63, 0x61, 0x66, 0xE9}), 1);  // Latin-1 "café": 0xE9 is last
  EXPECT_EQ(Jcsid({0xE0, 0x40}), 0);
  EXPECT_EQ(Jcsid({0xE0, 0x3F}), 0);
  EXPECT_EQ(Jcsid({0xE0, 0x41}), 260);
  EXPECT_EQ(Jcsid({0xEF, 0xA0}), 260);
  EXPECT_EQ(Jcsid({0xE5, 0xFD}), 261);
  EXPECT_EQ(Jcsid({0xE5, 0xFF}), 261);
  EXPECT_EQ(Jcsid({0xE5, 0xA1}), 1);  // ambiguous pair, then the end
  EXPECT_EQ(Jcsid({0xE5, 0xFC, 'x', 'y', 0x80}), 0);
  EXPECT_EQ(Jcsid({0xE5, 0xA1, 'x', 0xE0, 0x41}), 260);
  EXPECT_EQ(Jcsid({0xE5, 0xA1, 0xA0, 'x', 0xF1}), 261);  // 0xA0 passed over in the lead scan
  EXPECT_EQ(Jcsid({0xE5, 0xA1, 0xA0}), 1);
  EXPECT_EQ(Jcsid({0xA0, 0xA0}), 1);
}

TEST(DetectJCSID, RestDecidedByBothTestsThenTheDefault) {
  const Bytes katakana = {0xB1, 0xB2, 0xB3};  // undecided by both tests
  EXPECT_EQ(Jcsid(katakana, 261), 261);
  EXPECT_EQ(Jcsid(katakana, 260), 260);
  EXPECT_EQ(Jcsid(katakana, 0), 261);
  EXPECT_EQ(Jcsid(katakana, 515), 261);
  // EUC-JP says 1 (0xF0-0xFE lead).
  EXPECT_EQ(Jcsid({0xA4, 0xA2, 0xF0, 0xA1}, 260), 261);
  // Shift_JIS says 1.
  EXPECT_EQ(Jcsid({0x90, 0x41}, 261), 260);
  EXPECT_EQ(Jcsid({0x90, 0xA1}, 261), 260);
  // EUC-JP rules out, Shift_JIS undecided.
  EXPECT_EQ(Jcsid({0xA1, 0x41}, 261), 260);
  // EUC-JP undecided, Shift_JIS rules out: whatever the default.
  for (unsigned short def : {260, 261, 0}) EXPECT_EQ(Jcsid({0xA1, 0xA1, 0x80}, def), 261) << def;
  // Both rule out: never decided.
  for (unsigned short def : {260, 261, 0}) EXPECT_EQ(Jcsid({0xA1, 0x41, 0xF0}, def), 1) << def;
  // 0x8E followed by katakana reads as both.
  EXPECT_EQ(Jcsid({0x8E, 0xB1}, 261), 261);
  EXPECT_EQ(Jcsid({0x8E, 0xB1}, 260), 260);
  EXPECT_EQ(Jcsid({0x8E}, 7), 261);
  EXPECT_EQ(Jcsid({0x8F, 0xA1}, 1), 261);
}

TEST(AutoDetectUTF8, CountsCompleteSequences) {
  _NLS_AUTO_DETECT_RESULT r = Utf8({0xE6, 0x97, 0xA5, 0xE6, 0x9C, 0xAC});  // 日本
  EXPECT_STREQ(r.encoding, "UTF-8");
  EXPECT_EQ(r.confidence, 2u);
  EXPECT_EQ(r.error, 0);

  r = Utf8({0xC3});  // cut by the end: neither counted nor an error
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 0);
  r = Utf8({'a', 0xF0, 0x9F, 0x98, 0x80, 0xE4, 0xB8});
  EXPECT_EQ(r.confidence, 1u);
  EXPECT_EQ(r.error, 0);

  r = Utf8({0x80});
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 1);
  r = Utf8({0xC3, 0x41});
  EXPECT_EQ(r.error, 1);
  r = Utf8({0xC3, 0xA9, 0xBF});  // stray trail after a complete sequence
  EXPECT_EQ(r.confidence, 1u);
  EXPECT_EQ(r.error, 1);
  for (unsigned char lead : {0xF8, 0xFC, 0xFE, 0xFF}) {
    r = Utf8({lead, 0x80, 0x80, 0x80, 0x80, 0x80});
    EXPECT_EQ(r.error, 1) << int(lead);
    EXPECT_EQ(r.confidence, 0u);
  }
  // Only the lead/trail structure is checked.
  r = Utf8({0xC0, 0x80, 0xED, 0xA0, 0x80, 0xF7, 0xBF, 0xBF, 0xBF});
  EXPECT_EQ(r.confidence, 3u);
  EXPECT_EQ(r.error, 0);

  r = Utf8(B("plain ASCII"));
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 0);
  r = Utf8({});
  EXPECT_STREQ(r.encoding, "UTF-8");
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 0);
}

TEST(AutoDetectJIS, CountsDesignationsUntilAnEightBitByte) {
  const Bytes twice = {ESC, '$', 'B', 0x46, 0x7C, ESC, '(', 'B', 'x', ESC, '$', 'B', 0x4B, 0x5C};
  _NLS_AUTO_DETECT_RESULT r = Jis(twice);
  EXPECT_STREQ(r.encoding, "ISO-2022-JP");
  EXPECT_EQ(r.confidence, 2u);
  EXPECT_EQ(r.error, 0);

  Bytes early = twice;
  early.insert(early.begin(), 0xA4);
  r = Jis(early);
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 1);
  Bytes middle = twice;
  middle.insert(middle.begin() + 5, 0x80);
  r = Jis(middle);
  EXPECT_EQ(r.confidence, 1u);
  EXPECT_EQ(r.error, 1);

  r = Jis({ESC, '$', 'B', ESC, '$', '@', ESC, '(', 'J', ESC, '(', 'I', ESC, '$', '(', 'D'});
  EXPECT_EQ(r.confidence, 5u);
  EXPECT_EQ(r.error, 0);
  r = Jis({'a', ESC, '$', 'B', ESC, '$', '('});  // the last one is cut
  EXPECT_EQ(r.confidence, 1u);
  r = Jis({ESC, ESC, '$', '@', ESC});
  EXPECT_EQ(r.confidence, 1u);
  r = Jis({});
  EXPECT_STREQ(r.encoding, "ISO-2022-JP");
  EXPECT_EQ(r.confidence, 0u);
  EXPECT_EQ(r.error, 0);
}

// ---- Agreement with the reference ---------------------------------------

TEST(DetectionAgreement, EveryBufferOfUpToTwoBytes) {
  Bytes b;
  ASSERT_EQ(Disagreement(b), "");
  for (int x = 0; x < 256; ++x) {
    b = {static_cast<unsigned char>(x)};
    ASSERT_EQ(Disagreement(b), "") << Hex(b.data(), b.size());
    for (int y = 0; y < 256; ++y) {
      b = {static_cast<unsigned char>(x), static_cast<unsigned char>(y)};
      ASSERT_EQ(Disagreement(b), "") << Hex(b.data(), b.size());
    }
  }
}

TEST(DetectionAgreement, ThreeAndFourBytesFromBoundaryValues) {
  const Bytes alphabet = {0x00, ESC,  '$',  '(',  'B',  '@',  'D',  0x40, 0x41, 0x7F, 0x80,
                          0x81, 0x8D, 0x8E, 0x8F, 0x90, 0x9F, 0xA0, 0xA1, 0xBF, 0xC0, 0xDF,
                          0xE0, 0xEF, 0xF0, 0xF7, 0xF8, 0xFC, 0xFD, 0xFE, 0xFF};
  const size_t k = alphabet.size();
  for (size_t code = 0; code < k * k * k; ++code) {
    const Bytes b = {alphabet[code % k], alphabet[code / k % k], alphabet[code / k / k]};
    ASSERT_EQ(Disagreement(b), "") << Hex(b.data(), b.size());
  }
  const Bytes small = {ESC, '$', '(', 'D', 0x41, 0x8E, 0x8F, 0xA0, 0xA1, 0xDF, 0xE0, 0xF0, 0xFF};
  const size_t m = small.size();
  for (size_t code = 0; code < m * m * m * m; ++code) {
    const Bytes b = {small[code % m], small[code / m % m], small[code / m / m % m],
                     small[code / m / m / m]};
    ASSERT_EQ(Disagreement(b), "") << Hex(b.data(), b.size());
  }
}

TEST(DetectionAgreement, RandomBiasedBuffersInExactSizedHeapBlocks) {
  std::mt19937 rng(4417);
  for (int round = 0; round < 20000; ++round) {
    const size_t n = round % 4 == 0 ? rng() % 200 : rng() % 24;
    const Bytes b = nls_test::RandomDetectionBytes(rng, n);
    // An exact-sized block lets AddressSanitizer see any read past the end.
    std::unique_ptr<unsigned char[]> block(new unsigned char[n]);
    if (n > 0) std::memcpy(block.get(), b.data(), n);
    ASSERT_EQ(Disagreement(block.get(), n), "") << Hex(b.data(), n);
  }
}

TEST(DetectionAgreement, ShortBuffersAgainstInaccessiblePages) {
  nls_test::GuardedPages pages(16);
  ASSERT_TRUE(pages.ok());
  std::mt19937 rng(90210);
  for (size_t n = 0; n <= 8; ++n) {
    for (int round = 0; round < 2000; ++round) {
      const Bytes b = nls_test::RandomDetectionBytes(rng, n);
      ASSERT_EQ(Disagreement(pages.AtEnd(b), n), "") << "at end: " << Hex(b.data(), n);
      ASSERT_EQ(Disagreement(pages.AtStart(b), n), "") << "at start: " << Hex(b.data(), n);
    }
  }
}

// ---- Japanese text from Python's codecs ---------------------------------

struct Sample {
  int kind = 0;  // 0 full-width sentence, 1 half-width katakana, 2 random mix
  uint32_t nonAscii = 0;
  Bytes sjis, euc, jis, utf8;
  uint32_t escapes = 0;
};

std::vector<Sample> LoadSamples() {
  const Bytes file = nls_test::ReadFile(nls_test::OraclePath("japanese_text.bin"));
  std::vector<Sample> samples;
  size_t at = 0;
  auto u32 = [&](uint32_t* v) {
    if (at + 4 > file.size()) return false;
    *v = file[at] | file[at + 1] << 8 | file[at + 2] << 16 |
         static_cast<uint32_t>(file[at + 3]) << 24;
    at += 4;
    return true;
  };
  auto block = [&](Bytes* out) {
    uint32_t n = 0;
    if (!u32(&n) || at + n > file.size()) return false;
    out->assign(file.begin() + at, file.begin() + at + n);
    at += n;
    return true;
  };
  while (at < file.size()) {
    Sample s;
    s.kind = file[at++];
    if (!u32(&s.nonAscii) || !block(&s.sjis) || !block(&s.euc) || !block(&s.jis) ||
        !block(&s.utf8) || !u32(&s.escapes))
      return {};
    samples.push_back(std::move(s));
  }
  return samples;
}

class JapaneseText : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { samples_ = new std::vector<Sample>(LoadSamples()); }
  static void TearDownTestSuite() {
    delete samples_;
    samples_ = nullptr;
  }
  static std::vector<Sample>* samples_;
};
std::vector<Sample>* JapaneseText::samples_ = nullptr;

TEST_F(JapaneseText, SentencesAreRecognisedInEachEncoding) {
  ASSERT_GT(samples_->size(), 400u);
  int sentences = 0;
  for (const Sample& s : *samples_) {
    if (s.kind != 0) continue;
    ++sentences;
    EXPECT_EQ(Jcsid(s.sjis, 261), 260) << Hex(s.sjis.data(), s.sjis.size());
    EXPECT_EQ(Jcsid(s.euc, 261), 261) << Hex(s.euc.data(), s.euc.size());
    EXPECT_EQ(Jcsid(s.euc, 0), 261) << Hex(s.euc.data(), s.euc.size());
    EXPECT_EQ(Jcsid(s.jis, 260), 515);
    EXPECT_EQ(Utf8(s.sjis).error, 1);
    EXPECT_EQ(Utf8(s.euc).error, 1);
    // The exported call: UTF-8 wins over whatever the Japanese test says of it.
    const std::pair<const Bytes*, const char*> expected[] = {
        {&s.sjis, "Shift_JIS"},
        {&s.euc, "Extended_UNIX_Code_Packed_Format_for_Japanese"},
        {&s.jis, "ISO-2022-JP"},
        {&s.utf8, "UTF-8"}};
    for (const auto& [text, name] : expected) {
      _NLS_AUTO_DETECT_RESULT r = Prefilled();
      unsigned count = 0;
      EXPECT_EQ(NLS_DetectEncodingForBuffer(text->data(), static_cast<unsigned>(text->size()), &r,
                                            0, &count),
                1);
      EXPECT_EQ(count, 1u);
      EXPECT_STREQ(r.encoding, name);
      EXPECT_EQ(r.confidence, text == &s.utf8 ? s.nonAscii : 1u);
    }
  }
  EXPECT_GE(sentences, 10);
}

TEST_F(JapaneseText, Utf8AndJisCountsMatchTheCodecs) {
  for (const Sample& s : *samples_) {
    _NLS_AUTO_DETECT_RESULT r = Utf8(s.utf8);
    EXPECT_EQ(r.confidence, s.nonAscii);
    EXPECT_EQ(r.error, 0);
    r = Jis(s.jis);
    EXPECT_EQ(r.confidence, s.escapes);
    EXPECT_EQ(r.error, 0);
    EXPECT_EQ(Jcsid(s.jis, 261), s.escapes > 0 ? 515 : 1) << Hex(s.jis.data(), s.jis.size());
  }
}

TEST_F(JapaneseText, EveryPrefixAgreesWithTheReferenceAtAPageEdge) {
  nls_test::GuardedPages pages(4096);
  ASSERT_TRUE(pages.ok());
  size_t checked = 0;
  for (const Sample& s : *samples_) {
    for (const Bytes* text : {&s.sjis, &s.euc, &s.jis, &s.utf8}) {
      ASSERT_LE(text->size(), pages.capacity());
      for (size_t n = 0; n <= text->size(); ++n) {
        const Bytes prefix(text->begin(), text->begin() + n);
        ASSERT_EQ(Disagreement(pages.AtEnd(prefix), n), "") << Hex(prefix.data(), n);
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 10000u);
}

}  // namespace
