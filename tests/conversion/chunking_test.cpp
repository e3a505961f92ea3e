// Streaming is invisible in the output: feeding any text in pieces that do
// not split a character, and draining the overflow after each piece, gives
// the bytes of one whole-buffer conversion, for every pair of built-in
// encodings (direct and two-stage).
#include <random>
#include <string>
#include <vector>

#include "conversion/conversion_test_env.h"
#include "support/test_support.h"

using nls_test::Bytes;

namespace {

const char* const kEncodings[] = {"ISO_8859-1:1987",     "x-mac-roman",    "ISO-10646-UCS-4",
                                  "ESCAPED_UNICODE",     "UTF-8",          "UNICODE-1-1-UTF-7",
                                  "IMAP-MODIFIED-UTF-7", "ISO-10646-UCS-2"};

Bytes ConvertWhole(const char* from, const char* to, const Bytes& in) {
  if (in.empty()) return {};
  std::vector<unsigned char> out(in.size() * 16 + 64);
  unsigned n = 0;
  int st = NLS_ConvertBuffer(from, to, in.data(), static_cast<unsigned>(in.size()), out.data(),
                             static_cast<unsigned>(out.size()), &n);
  EXPECT_TRUE(st == 1 || st == -1302) << from << " -> " << to << " status " << st;
  return Bytes(out.begin(), out.begin() + n);
}

// Random text without U+0000 (a 0 byte ends table-driven input).
std::vector<uint16_t> RandomText(std::mt19937& rng) {
  std::vector<uint16_t> text;
  const int n = 1 + static_cast<int>(rng() % 40);
  for (int i = 0; i < n; ++i) {
    switch (rng() % 6) {
      case 0:
        text.push_back(static_cast<uint16_t>(0x20 + rng() % 0x5F));
        break;
      case 1:
        text.push_back(static_cast<uint16_t>("+-&\\~/. \t\n"[rng() % 10]));
        break;
      case 2:
        text.push_back(static_cast<uint16_t>(0xA0 + rng() % 0x60));
        break;
      case 3:
        text.push_back(static_cast<uint16_t>(0x391 + rng() % 0x30));
        break;
      case 4:
        text.push_back(static_cast<uint16_t>(0x4E00 + rng() % 0x500));
        break;
      default:
        text.push_back(static_cast<uint16_t>(0x2013 + rng() % 0x20));
        break;
    }
  }
  return text;
}

Bytes Encode(const char* encoding, const std::vector<uint16_t>& text, size_t begin, size_t end) {
  Bytes units = nls_test::Ucs2(std::vector<uint16_t>(text.begin() + static_cast<long>(begin),
                                                     text.begin() + static_cast<long>(end)));
  if (std::string(encoding) == "ISO-10646-UCS-2") return units;
  return ConvertWhole("ISO-10646-UCS-2", encoding, units);
}

// True when text can be cut before character k in `encoding`: the encodings
// of the two parts, made separately, join to the encoding of the whole. This
// rules out cuts inside a UTF-7 base64 run, whose end closes the run.
bool CleanCut(const char* encoding, const std::vector<uint16_t>& text, size_t k) {
  Bytes joined = Encode(encoding, text, 0, k);
  Bytes tail = Encode(encoding, text, k, text.size());
  joined.insert(joined.end(), tail.begin(), tail.end());
  return joined == Encode(encoding, text, 0, text.size());
}

Bytes Decode(const char* encoding, const Bytes& in, size_t begin, size_t end) {
  Bytes piece(in.begin() + static_cast<long>(begin), in.begin() + static_cast<long>(end));
  if (std::string(encoding) == "ISO-10646-UCS-2") return piece;
  return ConvertWhole(encoding, "ISO-10646-UCS-2", piece);
}

// Byte offsets of the source text at which the input can be cut without
// splitting a character of the source (its two parts decode to the text of
// the whole; a backslash pair of escaped Unicode, for one, must stay
// together) or a run of the destination.
std::vector<size_t> CleanCuts(const char* from, const char* to, const std::vector<uint16_t>& text) {
  const Bytes whole = Encode(from, text, 0, text.size());
  const Bytes decoded = Decode(from, whole, 0, whole.size());
  std::vector<size_t> cuts;
  for (size_t k = 1; k < text.size(); ++k) {
    if (!CleanCut(from, text, k) || !CleanCut(to, text, k)) continue;
    const size_t offset = Encode(from, text, 0, k).size();
    Bytes joined = Decode(from, whole, 0, offset);
    Bytes tail = Decode(from, whole, offset, whole.size());
    joined.insert(joined.end(), tail.begin(), tail.end());
    if (joined == decoded) cuts.push_back(offset);
  }
  return cuts;
}

class Chunking : public nls_test::BuiltinsOnly {};

TEST_F(Chunking, PiecesAndDrainsGiveTheWholeConversion) {
  std::mt19937 rng(1234);
  int pairs = 0;
  for (const char* from : kEncodings) {
    for (const char* to : kEncodings) {
      if (!NLS_EncodingConverterExists(from, to)) continue;
      ++pairs;
      for (int iter = 0; iter < 12; ++iter) {
        std::vector<uint16_t> text = RandomText(rng);
        Bytes input = Encode(from, text, 0, text.size());
        Bytes expected = ConvertWhole(from, to, input);
        std::vector<size_t> cuts = CleanCuts(from, to, text);
        // Pick a random subset of the clean cuts.
        std::vector<size_t> chosen{0};
        for (size_t c : cuts)
          if (rng() % 2) chosen.push_back(c);
        chosen.push_back(input.size());

        NLS_ConverterHandle h = nullptr;
        ASSERT_EQ(NLS_NewEncodingConverter(from, to, &h), 1) << from << " -> " << to;
        const unsigned outSize = 8 + rng() % 24;
        Bytes streamed;
        std::vector<unsigned char> out(4096);
        for (size_t p = 0; p + 1 < chosen.size(); ++p) {
          const size_t begin = chosen[p], end = chosen[p + 1];
          unsigned n = 0;
          int st = NLS_ConvertStreamBuffer(
              h, input.data() + begin, static_cast<unsigned>(end - begin), out.data(), outSize, &n);
          streamed.insert(streamed.end(), out.begin(), out.begin() + n);
          // Drain while input or text is held. The UTF-8 and modified UTF-7
          // encoders report a full output with -1304 and -1303; draining goes
          // on while the held input shrinks.
          unsigned lastHeld = ~0u;
          for (;;) {
            unsigned need = 0;
            NLS_GetConversionOverflowSize(h, &need);
            const bool full = st == -1303 || st == -1304;
            const bool more = st == 2 || (full && need > 0 && need < lastHeld);
            if (!more) break;
            lastHeld = need;
            st = NLS_ConverterGetOverflow(h, out.data(), need > outSize ? need : outSize, &n);
            streamed.insert(streamed.end(), out.begin(), out.begin() + n);
          }
          ASSERT_TRUE(st == 1 || st == -1302) << from << " -> " << to << " status " << st;
        }
        NLS_DeleteEncodingConverter(h);
        ASSERT_EQ(streamed, expected) << from << " -> " << to << " with output size " << outSize;
      }
    }
  }
  EXPECT_EQ(pairs, 7 * 8 + 7);  // every ordered pair but UCS-2 to itself
}

}  // namespace
