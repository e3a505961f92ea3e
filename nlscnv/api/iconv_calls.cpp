// The strict interface: NLS_IconvOpen, NLS_Iconv, NLS_IconvClose and their
// companions (see nlscnv.h).
#include <cerrno>
#include <new>

#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/iconv/codec_lookup.h"
#include "nlscnv/iconv/descriptor.h"

namespace {

TEncodingRegistry* Registry() {
  if (EncodingConverter::getEncodingRegistry() == nullptr) NLS_EncInitialize(nullptr, nullptr);
  return EncodingConverter::getEncodingRegistry();
}

bool Valid(NLS_Iconv_t cd) { return cd != nullptr && cd->magic == nls::iconv::kMagic; }

// Whether an encoder keeps state after a line feed that it encodes from the
// initial state: one that writes a byte-order mark before the first
// character does, even when its codec declares no shift states.
bool KeepsStateAfterLineFeed(const NLS_Codec* codec) {
  unsigned char pivot[2], bytes[256];
  nls::StoreUnit16(pivot, 0x0A);
  NLS_CodecState state{};
  NLS_CodecCall call{pivot, 2, bytes, sizeof bytes, 0, 0, 0, 0, 0};
  if (codec->encode(codec, &state, &call) != NLS_CODEC_DONE) return true;
  for (uint32_t word : state.word)
    if (word != 0) return true;
  return false;
}

}  // namespace

extern "C" {

NLS_Iconv_t NLS_IconvOpen(const char* tocode, const char* fromcode) {
  TEncodingRegistry* registry = Registry();
  nls::iconv::CodecName to, from;
  if (tocode == nullptr || fromcode == nullptr ||
      !nls::iconv::FindCodec(registry, tocode, true, &to) ||
      !nls::iconv::FindCodec(registry, fromcode, false, &from)) {
    errno = EINVAL;
    return reinterpret_cast<NLS_Iconv_t>(-1);
  }
  auto* cd = new (std::nothrow) NLS_IconvDescriptor();
  if (cd == nullptr) {
    errno = ENOMEM;
    return reinterpret_cast<NLS_Iconv_t>(-1);
  }
  cd->magic = nls::iconv::kMagic;
  cd->from = from.codec;
  cd->to = to.codec;
  cd->ignore = to.ignore;
  cd->translit = to.translit;
  cd->failure.fromName = from.codec->name;
  cd->failure.toName = to.codec->name;
  return cd;
}

size_t NLS_Iconv(NLS_Iconv_t cd, char** in, size_t* inleft, char** out, size_t* outleft) {
  if (!Valid(cd)) {
    errno = EBADF;
    return static_cast<size_t>(-1);
  }
  int error = 0;
  size_t result;
  if (in == nullptr || *in == nullptr) {
    if (out == nullptr || *out == nullptr || outleft == nullptr) {
      nls::iconv::Reset(cd);
      return 0;
    }
    result = nls::iconv::Finish(cd, reinterpret_cast<unsigned char**>(out), outleft, &error);
  } else {
    if (inleft == nullptr || out == nullptr || *out == nullptr || outleft == nullptr) {
      errno = EINVAL;
      return static_cast<size_t>(-1);
    }
    const unsigned char* source = reinterpret_cast<const unsigned char*>(*in);
    result = nls::iconv::Convert(cd, &source, inleft, reinterpret_cast<unsigned char**>(out),
                                 outleft, &error);
    *in = const_cast<char*>(reinterpret_cast<const char*>(source));
  }
  if (result == static_cast<size_t>(-1)) errno = error;
  return result;
}

int NLS_IconvClose(NLS_Iconv_t cd) {
  if (!Valid(cd)) {
    errno = EBADF;
    return -1;
  }
  cd->magic = 0;
  delete cd;
  return 0;
}

int NLS_IconvGetFailure(NLS_Iconv_t cd, NLS_IconvFailure* failure) {
  if (!Valid(cd)) {
    errno = EBADF;
    return -1;
  }
  if (failure == nullptr) {
    errno = EINVAL;
    return -1;
  }
  *failure = cd->failure;
  return 0;
}

int NLS_IconvGetProperties(NLS_Iconv_t cd, unsigned int* properties) {
  if (!Valid(cd)) {
    errno = EBADF;
    return -1;
  }
  if (properties == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const unsigned source = cd->from->properties, target = cd->to->properties;
  unsigned bits = 0;
  if (source & NLS_CODEC_RESYNC_AT_LINE_FEED) bits |= NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED;
  if (source & NLS_CODEC_STATELESS_DECODER) bits |= NLS_ICONV_SOURCE_STATELESS;
  if ((target & NLS_CODEC_STATEFUL_ENCODER) || KeepsStateAfterLineFeed(cd->to))
    bits |= NLS_ICONV_TARGET_STATEFUL;
  *properties = bits;
  return 0;
}

void NLS_IconvList(NLS_IconvListCallback callback, void* context) {
  if (callback == nullptr) return;
  nls::iconv::ListCodecs(Registry(), [&](const std::vector<std::string>& names) {
    std::vector<const char*> pointers;
    for (const std::string& name : names) pointers.push_back(name.c_str());
    return callback(static_cast<unsigned>(pointers.size()), pointers.data(), context) != 0;
  });
}

}  // extern "C"
