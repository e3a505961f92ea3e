// The strict interface on random input for every encoding with a strict
// codec: any cut of the input and any output size give the result of one
// call on the whole input, in both directions; and where ICU has the
// encoding (and no documented difference), ICU with a stop callback accepts
// exactly the inputs this library accepts and decodes them to the same text.
#include <unicode/ucnv.h>

#include <cerrno>

#include "fuzz_support.h"

namespace {

struct Row {
  const char* name;
  const char* icu;
  bool icuDiffers;
};
const Row kRows[] = {
#include "oracle_rows.inc"
};
constexpr size_t kRowCount = sizeof kRows / sizeof kRows[0];

struct Result {
  nls_fuzz::Bytes out;
  int error = 0;
  size_t stop = 0;
};

// Converts in pieces of `cut` bytes (0: whole) into outputs of `chunk` bytes.
Result Run(const char* to, const char* from, const nls_fuzz::Bytes& input, size_t cut,
           size_t chunk) {
  Result r;
  NLS_Iconv_t cd = NLS_IconvOpen(to, from);
  FUZZ_CHECK(cd != reinterpret_cast<NLS_Iconv_t>(-1), "cannot open %s -> %s", from, to);
  nls_fuzz::Bytes pending;
  std::vector<char> out(chunk);
  size_t offered = 0;
  for (;;) {
    const size_t n = cut == 0 ? input.size() - offered : std::min(cut, input.size() - offered);
    pending.insert(pending.end(), input.begin() + static_cast<long>(offered),
                   input.begin() + static_cast<long>(offered + n));
    offered += n;
    nls_fuzz::ExactInput exact(pending);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(exact.data()));
    size_t inLeft = pending.size();
    int error = 0;
    for (;;) {
      char* o = out.data();
      size_t outLeft = out.size();
      const size_t got = NLS_Iconv(cd, &in, &inLeft, &o, &outLeft);
      error = got == static_cast<size_t>(-1) ? errno : 0;
      r.out.insert(r.out.end(), out.data(), o);
      if (error != E2BIG) break;
      FUZZ_CHECK(o != out.data() || out.size() < 16, "no progress with %zu bytes of room",
                 out.size());
      if (o == out.data()) out.resize(out.size() * 2);
    }
    const size_t consumed = pending.size() - inLeft;
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(consumed));
    if (error == EILSEQ || (error == EINVAL && offered == input.size())) {
      r.error = error;
      r.stop = offered - pending.size();
      NLS_IconvClose(cd);
      return r;
    }
    if (offered == input.size()) break;
  }
  char* o = out.data();
  size_t outLeft = out.size();
  while (NLS_Iconv(cd, nullptr, nullptr, &o, &outLeft) == static_cast<size_t>(-1)) {
    r.out.insert(r.out.end(), out.data(), o);
    if (errno != E2BIG) {
      r.error = errno;
      break;
    }
    out.resize(out.size() * 2);
    o = out.data();
    outLeft = out.size();
  }
  r.out.insert(r.out.end(), out.data(), o);
  r.stop = input.size();
  NLS_IconvClose(cd);
  return r;
}

bool Same(const Result& a, const Result& b) {
  return a.out == b.out && a.error == b.error && a.stop == b.stop;
}

// ICU's decoding with a stop callback: true and the UTF-16 text when the
// whole input is valid.
bool IcuDecode(const char* name, const nls_fuzz::Bytes& input, nls_fuzz::Bytes* text) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* cnv = ucnv_open(name, &status);
  if (U_FAILURE(status)) return false;
  ucnv_setToUCallBack(cnv, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::vector<UChar> out(2 * input.size() + 16);
  status = U_ZERO_ERROR;
  const int32_t n = ucnv_toUChars(cnv, out.data(), static_cast<int32_t>(out.size()),
                                  reinterpret_cast<const char*>(input.data()),
                                  static_cast<int32_t>(input.size()), &status);
  ucnv_close(cnv);
  if (U_FAILURE(status)) return false;
  const auto* bytes = reinterpret_cast<const unsigned char*>(out.data());
  text->assign(bytes, bytes + 2 * n);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  NLS_EncInitialize(nullptr, NLS_FUZZ_DATA_BASE);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider fdp(data, size);
  const Row& row = kRows[fdp.ConsumeIntegralInRange<size_t>(0, kRowCount - 1)];
  const size_t cut = fdp.ConsumeIntegralInRange<size_t>(1, 9);
  const size_t chunk = fdp.ConsumeIntegralInRange<size_t>(1, 16);
  const std::string rest = fdp.ConsumeRemainingBytesAsString();
  const nls_fuzz::Bytes input(rest.begin(), rest.end());

  // Decoding, whole and cut.
  const Result whole = Run(NLS_PIVOT_ENCODING, row.name, input, 0, 4 * input.size() + 64);
  const Result cutUp = Run(NLS_PIVOT_ENCODING, row.name, input, cut, chunk);
  FUZZ_CHECK(Same(whole, cutUp), "%s: decoding in pieces of %zu into %zu bytes differs", row.name,
             cut, chunk);
  // Encoding the decoded text back, whole and cut.
  const Result back = Run(row.name, NLS_PIVOT_ENCODING, whole.out, 0, 4 * whole.out.size() + 64);
  const Result backCut = Run(row.name, NLS_PIVOT_ENCODING, whole.out, cut, chunk);
  FUZZ_CHECK(Same(back, backCut), "%s: encoding in pieces of %zu into %zu bytes differs", row.name,
             cut, chunk);

  if (row.icu != nullptr && !row.icuDiffers) {
    nls_fuzz::Bytes icuText;
    const bool icuValid = IcuDecode(row.icu, input, &icuText);
    const bool ourValid = whole.error == 0;
    FUZZ_CHECK(icuValid == ourValid, "%s: ICU %s the input, this library %s", row.name,
               icuValid ? "accepts" : "rejects", ourValid ? "accepts" : "rejects");
    if (icuValid) FUZZ_CHECK(icuText == whole.out, "%s: ICU decodes to other text", row.name);
  }
  return 0;
}
