// TCodecConverter, the legacy buffer contract over a codec, for every codec
// (the built-in ones wrapped directly, and every converter library's through
// its registered factories): valid text converts as the strict interface
// converts it; each ill-formed sequence becomes one U+FFFD and each character
// without a mapping one "?"; input streamed in any pieces with any output
// sizes gives the whole-buffer result, and nothing is written past an
// output.
#include <gtest/gtest.h>

#include <cstring>

#include "nlscnv/builtin/builtin_codecs.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "strict/strict_harness.h"

namespace nls_test {
namespace {

constexpr char kPivot[] = NLS_PIVOT_ENCODING;

// The legacy converter of a direction: the library's factory when a library
// registers the encoding, else the built-in codec wrapped.
struct Legacy {
  std::unique_ptr<EncodingConverter> handle;  // through the registry
  std::unique_ptr<TCodecConverter> wrapped;   // a built-in codec
  TEncodingConverter* converter() const {
    return handle != nullptr ? handle->converter() : wrapped.get();
  }
};

const NLS_Codec* BuiltinCodec(const std::string& name) {
  for (const NLS_Codec* c = nls::builtin::Codecs(); c->name != nullptr; ++c)
    if (name == c->name) return c;
  return nullptr;
}

Legacy Make(const std::string& name, bool encode) {
  Legacy legacy;
  if (const NLS_Codec* codec = BuiltinCodec(name)) {
    legacy.wrapped = std::make_unique<TCodecConverter>(
        codec, encode ? kPivot : codec->name, encode ? codec->name : kPivot, encode ? 1 : 0);
    return legacy;
  }
  legacy.handle = std::make_unique<EncodingConverter>(encode ? kPivot : name.c_str(),
                                                      encode ? name.c_str() : kPivot);
  return legacy;
}

bool IsCodecConverter(const Legacy& l) {
  return dynamic_cast<TCodecConverter*>(l.converter()) != nullptr;
}

// Converts through Convert in pieces of `piece` input bytes with outputs of
// `room` bytes, offering what a call did not consume again with the next
// piece, as a streaming host does.
Bytes Stream(TEncodingConverter* converter, const Bytes& input, size_t piece, size_t room) {
  Bytes out, pending;
  size_t offered = 0;
  for (int guard = 0; guard < 1000000; ++guard) {
    const size_t n = std::min(piece, input.size() - offered);
    pending.insert(pending.end(), input.begin() + static_cast<long>(offered),
                   input.begin() + static_cast<long>(offered + n));
    offered += n;
    GuardedBuffer buffer(room);
    unsigned produced = 0, used = 0;
    converter->Convert(buffer.data(), &produced, buffer.size(), pending.data(),
                       static_cast<unsigned>(pending.size()), &used);
    EXPECT_TRUE(buffer.GuardIntact()) << "wrote past " << room << " bytes";
    EXPECT_LE(produced, room);
    const Bytes chunk = buffer.Prefix(produced);
    out.insert(out.end(), chunk.begin(), chunk.end());
    pending.erase(pending.begin(), pending.begin() + used);
    if (offered == input.size() && (pending.empty() || (used == 0 && produced == 0))) break;
  }
  return out;
}

Bytes Whole(TEncodingConverter* converter, const Bytes& input) {
  unsigned size = 0;
  converter->TargetBufferSize(input.data(), static_cast<unsigned>(input.size()), &size);
  return Stream(converter, input, input.size() + 1, size);
}

// What the legacy decoder makes of input: the strict decoding, with one
// U+FFFD for each ill-formed sequence, after which it goes on; a sequence cut
// by the end is held for the next call (no output).
Bytes Replaced(const std::string& name, const Bytes& input) {
  NLS_Iconv_t cd = NLS_IconvOpen(kPivot, name.c_str());
  Bytes out;
  std::vector<char> buffer(4 * input.size() + 16);
  char* in = const_cast<char*>(reinterpret_cast<const char*>(input.data()));
  size_t left = input.size();
  while (left > 0) {
    char* o = buffer.data();
    size_t room = buffer.size();
    const size_t r = NLS_Iconv(cd, &in, &left, &o, &room);
    out.insert(out.end(), buffer.data(), o);
    if (r != static_cast<size_t>(-1)) break;
    NLS_IconvFailure failure;
    NLS_IconvGetFailure(cd, &failure);
    if (failure.kind == NLS_ICONV_INCOMPLETE) break;
    out.insert(out.end(), {0xFD, 0xFF});
    in += failure.length;
    left -= failure.length;
  }
  NLS_IconvClose(cd);
  return out;
}

class LegacyAdapter : public ::testing::TestWithParam<std::string> {
 protected:
  static void SetUpTestSuite() { NLS_EncInitialize(nullptr, NLS_BINARY_DIR "/data"); }
  void SetUp() override {
    decoder_ = Make(GetParam(), false);
    encoder_ = Make(GetParam(), true);
    if (!IsCodecConverter(decoder_) || !IsCodecConverter(encoder_))
      GTEST_SKIP() << GetParam() << " has a legacy converter of its own";
  }
  Legacy decoder_, encoder_;
};

TEST_P(LegacyAdapter, ConvertsValidTextAsTheStrictInterface) {
  const EncodingCase& e = CaseOf(GetParam());
  const Bytes text = e.data.count("text") ? e.data.at("text") : Bytes{'a', 0, 0xE9, 0, '+', 0};
  const Outcome strict = Convert(Ours(), GetParam().c_str(), kPivot, text);
  ASSERT_EQ(strict.error, 0);
  EXPECT_EQ(Whole(encoder_.converter(), text), strict.output);
  EXPECT_EQ(Whole(decoder_.converter(), strict.output),
            Convert(Ours(), kPivot, GetParam().c_str(), strict.output).output);
}

TEST_P(LegacyAdapter, ReplacesWhatIsIllFormedOrUnmapped) {
  for (const EncodingCase::Bad& bad : CaseOf(GetParam()).bad) {
    decoder_.converter()->Reset();
    EXPECT_EQ(Whole(decoder_.converter(), bad.input), Replaced(GetParam(), bad.input))
        << bad.input.size() << " bytes, error at " << bad.start;
  }
  // A character without a mapping (or a lone surrogate) is one "?" (read
  // back, since a stateful encoding spells it by what comes before).
  const Bytes text = {'a', 0, 0x00, 0xD8, 'b', 0, 0x3D, 0xD8, 0x00, 0xDE, 'c', 0};
  const Bytes out = Whole(encoder_.converter(), text);
  decoder_.converter()->Reset();  // drops a cut sequence the last case left held
  const std::vector<uint32_t> back = CodePoints(Whole(decoder_.converter(), out));
  ASSERT_GE(back.size(), 4u);
  EXPECT_EQ(back.front(), 'a');
  EXPECT_EQ(back[1], '?');
  EXPECT_EQ(back[2], 'b');
}

TEST_P(LegacyAdapter, StreamsInAnyPiecesAndOutputSizes) {
  const EncodingCase& e = CaseOf(GetParam());
  const Bytes text =
      e.data.count("text")
          ? Bytes(e.data.at("text").begin(),
                  e.data.at("text").begin() + std::min<long>(6000, e.data.at("text").size()))
          : Bytes{'a', 0, 0xE9, 0, '+', 0, 0x42, 0x30};
  const Bytes bytes = Whole(encoder_.converter(), text);
  const Bytes decoded = Whole(decoder_.converter(), bytes);
  // Rooms that hold a character and the terminator; a stateful encoder ends
  // the text at the end of every call, so only its decoder streams exactly.
  for (size_t piece : {1, 3, 64}) {
    for (size_t room : {6, 7, 16}) {
      decoder_.converter()->Reset();
      EXPECT_EQ(Stream(decoder_.converter(), bytes, piece, room), decoded)
          << "decoding in pieces of " << piece << " into " << room;
    }
    for (size_t room : {25, 40}) {
      encoder_.converter()->Reset();
      if (!e.stateful) {
        EXPECT_EQ(Stream(encoder_.converter(), text, piece, room), bytes)
            << "encoding in pieces of " << piece << " into " << room;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Encodings, LegacyAdapter, ::testing::ValuesIn(EncodingNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           std::string tag;
                           for (char ch : info.param)
                             tag += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                           return tag;
                         });

}  // namespace
}  // namespace nls_test
