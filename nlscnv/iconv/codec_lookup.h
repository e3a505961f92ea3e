// Encoding names of the strict interface: suffixes, the strict ASCII names,
// and the codec behind a canonical name (built in, or exported by the
// converter library that encreg.txt names for it).
#ifndef NLSCNV_ICONV_CODEC_LOOKUP_H
#define NLSCNV_ICONV_CODEC_LOOKUP_H

#include <functional>
#include <string>
#include <vector>

#include "nlscnv/codec.h"

class TEncodingRegistry;

namespace nls::iconv {

struct CodecName {
  const NLS_Codec* codec = nullptr;
  bool ignore = false;    // "//IGNORE"
  bool translit = false;  // "//TRANSLIT"
};

// Resolves a name, with "//" suffixes when `suffixes` is set; false for an
// unknown name, an unknown suffix, or an encoding without a strict codec.
bool FindCodec(TEncodingRegistry* registry, const char* name, bool suffixes, CodecName* out);

// Every encoding with a codec: canonical name first, then its aliases.
void ListCodecs(TEncodingRegistry* registry,
                const std::function<bool(const std::vector<std::string>&)>& visit);

}  // namespace nls::iconv

#endif  // NLSCNV_ICONV_CODEC_LOOKUP_H
