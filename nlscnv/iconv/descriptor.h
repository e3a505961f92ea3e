// The conversion behind an NLS_Iconv_t: a decoder and an encoder that meet
// in a pivot buffer, both strict and stateful, with iconv(3)'s contract.
#ifndef NLSCNV_ICONV_DESCRIPTOR_H
#define NLSCNV_ICONV_DESCRIPTOR_H

#include <cstddef>

#include "nlscnv.h"
#include "nlscnv/codec.h"

struct NLS_IconvDescriptor {
  uint32_t magic;  // kMagic while open
  const NLS_Codec* from;
  const NLS_Codec* to;
  bool ignore;
  bool translit;
  NLS_CodecState decoder;
  NLS_CodecState encoder;
  NLS_IconvFailure failure;
  // Pivot text between the two halves, reused by every call.
  unsigned char pivot[16384];
};

namespace nls::iconv {

inline constexpr uint32_t kMagic = 0x4E4C5343;  // "NLSC"

// Converts as NLS_Iconv does; the result is the count of irreversible
// conversions, or (size_t)-1 with *error set to EILSEQ, EINVAL or E2BIG.
size_t Convert(NLS_IconvDescriptor* cd, const unsigned char** in, size_t* inLeft,
               unsigned char** out, size_t* outLeft, int* error);
// Ends the text (in null): the encoder's closing bytes into out.
size_t Finish(NLS_IconvDescriptor* cd, unsigned char** out, size_t* outLeft, int* error);
void Reset(NLS_IconvDescriptor* cd);

}  // namespace nls::iconv

#endif  // NLSCNV_ICONV_DESCRIPTOR_H
