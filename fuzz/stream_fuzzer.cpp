// Streams text through converter handles of the exported interface, for pairs
// of built-in encodings named by canonical names and aliases: pairs with one
// side in UCS-2 convert directly, all others in two stages. The text arrives
// in random pieces, output buffers have random sizes, held input is drained
// with the overflow calls. Every call is checked against its buffers; where
// both converters promise it, the streamed bytes must equal one whole-buffer
// conversion, and that must equal the two factories' converters applied one
// after the other.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "converter_checks.h"
#include "fuzz_support.h"

using nls_fuzz::Bytes;
using nls_fuzz::ConverterPtr;
using nls_fuzz::Direction;
using nls_fuzz::ExactInput;
using nls_fuzz::GuardedOutput;

namespace {

struct Encoding {
  const char* name;  // as the host spells it
  int decoder;       // index into Directions(), -1 for UCS-2 itself
  int encoder;
  unsigned terminator;
};

// Directions() indexes: 0/1 Latin-1, 2/3 MacRoman, 4/5 UCS-4, 6/7 escaped,
// 8/9 UTF-8, 10/11 UTF-7, 12/13 modified UTF-7.
const Encoding kEncodings[] = {
    {"ISO_8859-1:1987", 0, 1, 1},
    {"latin1", 0, 1, 1},
    {"US-ASCII", 0, 1, 1},
    {"x-mac-roman", 2, 3, 1},
    {"ISO-10646-UCS-4", 4, 5, 4},
    {"ESCAPED_UNICODE", 6, 7, 1},
    {"UTF-8", 8, 9, 1},
    {"utf_8", 8, 9, 1},
    {"UNICODE-1-1-UTF-7", 10, 11, 1},
    {"utf-7", 10, 11, 1},
    {"IMAP-MODIFIED-UTF-7", 12, 13, 1},
    {"imap_utf_7", 12, 13, 1},
    {"ISO-10646-UCS-2", -1, -1, 2},
    {"csUnicode11", -1, -1, 2},
    {"euc-jp", -2, -2, 1},  // a known name without any conversion
    {"no-such-encoding", -2, -2, 1},
};
constexpr size_t kEncodingCount = sizeof(kEncodings) / sizeof(kEncodings[0]);

const Direction* gDirections = nullptr;
bool gTrace = false;  // NLS_FUZZ_TRACE set: every streaming call is printed

void Trace(const char* call, unsigned in, unsigned size, int status, unsigned produced,
           unsigned held) {
  if (gTrace)
    std::fprintf(stderr, "%s: %u bytes in, %u out -> status %d, produced %u, holds %u\n", call, in,
                 size, status, produced, held);
}

unsigned NextSize(FuzzedDataProvider& control) {
  if (control.remaining_bytes() == 0) return 64;  // the input is used up
  switch (control.ConsumeIntegralInRange<int>(0, 3)) {
    case 0:
      return control.ConsumeIntegralInRange<unsigned>(0, 4);
    case 1:
      return control.ConsumeIntegralInRange<unsigned>(5, 16);
    case 2:
      return control.ConsumeIntegralInRange<unsigned>(0, 64);
    default:
      return control.ConsumeIntegralInRange<unsigned>(0, 1024);
  }
}

// Applies a factory's converter to the whole text with ample room.
Bytes Direct(int index, const Bytes& text) {
  if (index < 0) return text;
  ConverterPtr converter(gDirections[index].factory());
  ExactInput input(text);
  unsigned target = 0;
  converter->TargetBufferSize(nullptr, input.size(), &target);
  GuardedOutput output(std::max<size_t>(target, 8 * text.size()) + 16);
  unsigned produced = 0, used = 0;
  converter->Convert(output.data(), &produced, output.size(), input.data(), input.size(), &used);
  return Bytes(output.data(), output.data() + std::min(produced, output.size()));
}

struct Checked {
  int status;
  unsigned produced;
};

void CheckOutput(const char* call, int status, unsigned produced, const GuardedOutput& output,
                 unsigned terminator) {
  FUZZ_CHECK(output.DamagedGuard() < 0, "%s wrote past an output of %u bytes", call, output.size());
  FUZZ_CHECK(nls_fuzz::KnownConversionStatus(status), "%s answered %d", call, status);
  FUZZ_CHECK(produced <= output.size(), "%s produced %u into %u", call, produced, output.size());
  if (status > 0 && produced + terminator <= output.size())
    FUZZ_CHECK(output.ZeroAt(produced, terminator), "%s left out the terminator", call);
}

unsigned HeldBytes(NLS_ConverterHandle handle, size_t inputLength) {
  unsigned need = 12345;
  FUZZ_CHECK(NLS_GetConversionOverflowSize(handle, &need) == 1, "overflow size refused");
  FUZZ_CHECK(need % 7 == 0, "overflow size %u is not 7 per held byte", need);
  FUZZ_CHECK(need / 7 <= inputLength, "holds %u bytes of a %zu-byte input", need / 7, inputLength);
  return need / 7;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  size_t count = 0;
  gDirections = nls_fuzz::Directions(&count);
  gTrace = std::getenv("NLS_FUZZ_TRACE") != nullptr;
  // A data directory without registry files: only the built-in conversions.
  static char base[] = "/tmp/nls_fuzz_stream_XXXXXX";
  NLS_EncInitialize(nullptr, mkdtemp(base));
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  const Encoding& from = kEncodings[control.ConsumeIntegralInRange<size_t>(0, kEncodingCount - 1)];
  const Encoding& to = kEncodings[control.ConsumeIntegralInRange<size_t>(0, kEncodingCount - 1)];
  const Bytes text = control.ConsumeBytes<uint8_t>(control.ConsumeIntegralInRange<size_t>(0, 2048));

  NLS_ConverterHandle handle = reinterpret_cast<NLS_ConverterHandle>(1);
  const int created = NLS_NewEncodingConverter(from.name, to.name, &handle);
  const bool convertible =
      from.decoder != -2 && to.encoder != -2 && (from.decoder >= 0 || to.encoder >= 0);
  const int exists = NLS_EncodingConverterExists(from.name, to.name);
  const unsigned resultSize =
      NLS_GetResultBufferSize(nullptr, static_cast<unsigned>(text.size()), from.name, to.name);
  if (!convertible) {
    FUZZ_CHECK(created == -1301 && handle == nullptr, "%s > %s: created %d", from.name, to.name,
               created);
    FUZZ_CHECK(exists == 0 && resultSize == 0, "%s > %s: exists %d, result size %u", from.name,
               to.name, exists, resultSize);
    return 0;
  }
  FUZZ_CHECK(created == 1 && handle != nullptr, "%s > %s: created %d", from.name, to.name, created);
  FUZZ_CHECK(exists == 1 && resultSize >= 2, "%s > %s: exists %d, result size %u", from.name,
             to.name, exists, resultSize);

  // The whole text at once, and the two factories' converters in a row.
  Bytes whole;
  {
    // NLS_ConvertBuffer wants a source pointer even for an empty text.
    static const uint8_t kNothing = 0;
    ExactInput input(text);
    GuardedOutput output(std::max<size_t>(resultSize, 8 * text.size()) + 16);
    unsigned produced = 0;
    const int status =
        NLS_ConvertBuffer(from.name, to.name, text.empty() ? &kNothing : input.data(), input.size(),
                          output.data(), output.size(), &produced);
    CheckOutput("NLS_ConvertBuffer", status, produced, output, to.terminator);
    whole.assign(output.data(), output.data() + produced);
    if (!text.empty()) {
      const Bytes composed = Direct(to.encoder, Direct(from.decoder, text));
      FUZZ_CHECK(whole == composed, "%s > %s: whole conversion differs from the two converters",
                 from.name, to.name);
    }
  }

  // Streaming. What the handle cannot convert at all (a character cut at
  // the end of a piece) the host puts in front of the next piece.
  // Pieces are transparent when the source side is cut safely and the
  // destination side resumes exactly; UCS-2 text reaches the encoder as cut.
  bool exact = from.decoder >= 0 ? gDirections[from.decoder].piecesExactly &&
                                       (to.encoder < 0 || gDirections[to.encoder].resumesExactly)
                                 : gDirections[to.encoder].piecesExactly;
  // The UTF-8 encoder joins a high and a low surrogate into one sequence.
  // When the source spells the two halves separately (two UCS-4 units, two
  // three-byte UTF-8 sequences, two escapes), a cut between the halves
  // encodes them one by one: such text is not cut transparently.
  if (from.decoder >= 0 && to.encoder == 9) {
    for (uint16_t u : nls_fuzz::Units16(Direct(from.decoder, text)))
      if (u >= 0xD800 && u <= 0xDFFF) exact = false;
  }
  Bytes joined;
  Bytes carried;
  size_t fed = 0;
  bool first = true;
  while (fed < text.size() || first) {
    first = false;
    size_t piece = std::min(text.size() - fed, control.ConsumeIntegralInRange<size_t>(0, 300));
    if (control.remaining_bytes() == 0) piece = text.size() - fed;
    Bytes pending = carried;
    pending.insert(pending.end(), text.begin() + static_cast<long>(fed),
                   text.begin() + static_cast<long>(fed + piece));
    fed += piece;
    ExactInput input(pending);

    GuardedOutput output(NextSize(control));
    unsigned produced = 0;
    int status = NLS_ConvertStreamBuffer(handle, input.data(), input.size(), output.data(),
                                         output.size(), &produced);
    CheckOutput("NLS_ConvertStreamBuffer", status, produced, output, to.terminator);
    joined.insert(joined.end(), output.data(), output.data() + produced);
    unsigned held = HeldBytes(handle, pending.size());
    Trace("stream", input.size(), output.size(), status, produced, held);

    // Drain. A host offers at least the overflow size, and more when that
    // makes no progress.
    bool escalate = false;
    int refusals = 0;  // empty buffers offered on purpose; a few per piece
    for (size_t rounds = 0; status == 2 || held > 0; ++rounds) {
      FUZZ_CHECK(rounds < 16 * pending.size() + 64, "%s > %s: draining does not end", from.name,
                 to.name);
      unsigned offer = NextSize(control);
      if (offer == 0 && ++refusals > 2) offer = 1;
      if (control.ConsumeBool()) offer = std::max(offer, held * 7);
      if (escalate) offer = std::max<unsigned>(64, 16 * held + 16);
      GuardedOutput more(offer);
      produced = 0;
      const unsigned before = held;
      const int answer = NLS_ConverterGetOverflow(handle, more.data(), more.size(), &produced);
      if (offer == 0) {
        // Refused; what the handle holds is untouched and still to drain.
        FUZZ_CHECK(answer == -1009 && produced == 0, "empty overflow buffer gave %d", answer);
        FUZZ_CHECK(HeldBytes(handle, pending.size()) == held, "a refused call changed the input");
        --rounds;
        continue;
      }
      status = answer;
      CheckOutput("NLS_ConverterGetOverflow", status, produced, more, to.terminator);
      joined.insert(joined.end(), more.data(), more.data() + produced);
      held = HeldBytes(handle, pending.size());
      Trace("overflow", before, offer, status, produced, held);
      FUZZ_CHECK(held <= before, "the held input grew from %u to %u bytes", before, held);
      if (produced == 0 && held == before) {
        if (escalate) break;  // the held bytes cannot be converted on their own
        escalate = true;
      } else {
        escalate = false;
      }
    }
    carried.assign(pending.end() - held, pending.end());
  }
  if (exact && joined != whole) {
    size_t at = 0;
    while (at < joined.size() && at < whole.size() && joined[at] == whole[at]) ++at;
    const size_t from0 = at < 8 ? 0 : at - 8;
    FUZZ_CHECK(joined == whole,
               "%s > %s: streamed %zu bytes, whole conversion %zu, first difference at %zu\n"
               "  streamed: %s\n  whole:    %s",
               from.name, to.name, joined.size(), whole.size(), at,
               nls_fuzz::Hex(Bytes(joined.begin() + from0, joined.end())).c_str(),
               nls_fuzz::Hex(Bytes(whole.begin() + from0, whole.end())).c_str());
  }

  // Reset, then the whole text once more through a roomy buffer.
  FUZZ_CHECK(NLS_ResetEncodingConverter(handle) == 1, "reset refused");
  FUZZ_CHECK(HeldBytes(handle, 0) == 0, "reset kept held input");
  if (!text.empty()) {
    ExactInput input(text);
    GuardedOutput output(std::max<size_t>(resultSize, 8 * text.size()) + 16);
    unsigned produced = 0;
    const int status = NLS_ConvertStreamBuffer(handle, input.data(), input.size(), output.data(),
                                               output.size(), &produced);
    CheckOutput("NLS_ConvertStreamBuffer after reset", status, produced, output, to.terminator);
    FUZZ_CHECK(Bytes(output.data(), output.data() + produced) == whole,
               "%s > %s: conversion after reset differs", from.name, to.name);
  }
  FUZZ_CHECK(NLS_DeleteEncodingConverter(handle) == 1, "delete refused");
  return 0;
}
