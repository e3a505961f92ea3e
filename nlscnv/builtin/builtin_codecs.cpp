// The list of built-in codecs: the strict form of every built-in encoding,
// the pivot itself and strict US-ASCII.
#include "nlscnv/builtin/builtin_codecs.h"

#include "nlscnv/builtin/builtin_tables.h"
#include "nlscnv/codecs/codecs.h"

namespace nls::builtin {
namespace {

const NLS_Codec kMacRomanCodec = {names::kMacRoman,
                                  NLS_SingleByteDecode,
                                  NLS_SingleByteEncode,
                                  &kMacRomanTable,
                                  1,
                                  NLS_CODEC_STATELESS_DECODER | NLS_CODEC_RESYNC_AT_LINE_FEED};

}  // namespace

const NLS_Codec* Codecs() {
  static const NLS_Codec kList[] = {
      codecs::kLatin1Codec,   kMacRomanCodec,
      codecs::kUcs4Codec,     codecs::kEscapedUnicodeCodec,
      codecs::kUtf8Codec,     codecs::kUtf7Codec,
      codecs::kImapUtf7Codec, codecs::kPivotCodec,
      codecs::kAsciiCodec,    NLS_Codec{nullptr, nullptr, nullptr, nullptr, 0, 0},
  };
  return kList;
}

}  // namespace nls::builtin
