// The conversion pipeline of nlsconv: one converter handle when the registry
// converts the pair directly (or one side is UCS-2), otherwise two handles
// that meet in UCS-2, so that both stages report their own statuses.
//
// It also knows where the input may be cut between two pieces so that the
// result equals the conversion of the whole input in one buffer.
#ifndef NLSCONV_PIPELINE_H
#define NLSCONV_PIPELINE_H

#include <cstddef>
#include <string>

#include "byte_buffer.h"
#include "nlscnv.h"

namespace nlsconv {

extern const char kPivot[];  // "ISO-10646-UCS-2"

// What one converter call over a piece of input came to.
struct PieceResult {
  int status;        // 1, or the converter's status (negative on failure)
  size_t consumed;   // input bytes taken; the rest could not be converted yet
  bool secondStage;  // the status comes from the UCS-2-to-destination stage
};

class Pipeline {
 public:
  Pipeline() = default;
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // Creates the handles for canonical names `from` and `to`. Returns 1, or
  // the status of the handle that could not be created.
  int Open(const std::string& from, const std::string& to);
  void Reset();

  const std::string& from() const { return from_; }
  const std::string& to() const { return to_; }
  // Bytes per code unit of the source: 2 for UCS-2, 4 for UCS-4, else 1.
  size_t unit() const { return unit_; }

  // Converts data[0, len) and appends the result to `out`.
  PieceResult Convert(const unsigned char* data, size_t len, ByteBuffer& out);

  // Offset just after the last unit in data[begin, end) after which the input
  // may be cut without changing the result, or 0 when there is none. `begin`
  // and `end` are multiples of unit().
  size_t LastCut(const unsigned char* data, size_t begin, size_t end) const;
  // Where to cut a piece that has no such unit but must be converted to keep
  // memory bounded: after the last unit at which the source decoder is at
  // rest (unless `anywhere`), else after the last whole code unit, keeping a
  // UCS-2 surrogate pair together. Returns a value in (0, len] when len holds
  // more than one unit.
  size_t FallbackCut(const unsigned char* data, size_t len, bool anywhere) const;

  // After a piece failed with a malformed-input status, finds the shortest
  // stretch [*begin, *end) between cut points that fails on its own.
  void LocateMalformed(const unsigned char* data, size_t len, size_t* begin, size_t* end);

 private:
  unsigned UnitValue(const unsigned char* p) const;

  std::string from_, to_;
  NLS_ConverterHandle first_ = nullptr;   // from -> to, or from -> UCS-2
  NLS_ConverterHandle second_ = nullptr;  // UCS-2 -> to, for two stages
  size_t unit_ = 1;
  bool escapes_ = false;       // the source is escaped Unicode
  bool sourceSafe_[128] = {};  // the decoder is at rest after this character
  bool cut_[128] = {};         // ... and the text before it leaves the encoder at rest
  ByteBuffer middle_;          // UCS-2 text between the stages
  ByteBuffer scratch_;
};

}  // namespace nlsconv

#endif  // NLSCONV_PIPELINE_H
