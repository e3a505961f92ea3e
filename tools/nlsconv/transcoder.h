// One text's conversion through the strict interface: a decoder descriptor
// (source -> UCS-2) and an encoder descriptor (UCS-2 -> target) that meet in
// a pivot buffer owned here. Seeing the pivot gives exact line and column
// numbers, lets invalid input and unrepresentable characters be omitted or
// replaced through the encoder's own state, and still places every failure
// at its byte offset in the input.
#ifndef NLSCONV_TRANSCODER_H
#define NLSCONV_TRANSCODER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "byte_buffer.h"
#include "nlscnv.h"

namespace nlsconv {

extern const char kPivot[];  // "ISO-10646-UCS-2"

// What happens to invalid input and to characters the target cannot hold.
enum class Policy { kStop, kOmit, kReplace };

// Characters omitted, replaced or approximated.
struct Tally {
  uint64_t invalid = 0;       // ill-formed input sequences
  uint64_t unmappable = 0;    // characters the target cannot represent
  uint64_t approximated = 0;  // characters transliterated (//TRANSLIT)
  void Add(const Tally& other) {
    invalid += other.invalid;
    unmappable += other.unmappable;
    approximated += other.approximated;
  }
};

// What stopped a text.
struct Failure {
  enum Kind { kNone, kInvalid, kUnmappable, kIncomplete, kWrite, kRead } kind = kNone;
  uint64_t offset = 0;  // byte offset in the input
  uint64_t line = 0;    // 1-based, counted from where the transcoder began
  uint64_t column = 0;  // 1-based, in characters
  uint32_t codePoint = 0;
  unsigned char bytes[8] = {};  // kInvalid: the sequence and the byte that broke it
  unsigned byteCount = 0;
  int error = 0;  // kRead: errno
};

// Where converted bytes go. Room returns space for at least `least` bytes
// (its size in *size), or null after a failed write (already reported).
class Sink {
 public:
  virtual ~Sink() = default;
  virtual unsigned char* Room(size_t least, size_t* size) = 0;
  virtual bool Commit(size_t n) = 0;  // n bytes were written at the last Room
};

class Transcoder {
 public:
  Transcoder() = default;
  ~Transcoder();
  Transcoder(const Transcoder&) = delete;
  Transcoder& operator=(const Transcoder&) = delete;

  // Opens the descriptors for names the strict interface accepts (`to`
  // without suffixes; `translit` adds //TRANSLIT). False when one cannot be
  // opened.
  bool Open(const std::string& from, const std::string& to, bool translit, Policy policy);
  const std::string& from() const { return from_; }
  // Canonical name of the target and the NLS_ICONV_ properties of the pair.
  const char* targetCanonical() const { return targetCanonical_; }
  unsigned properties() const { return properties_; }

  // Begins a text whose first byte is at `offset` of the input; the
  // signature (U+FEFF) is written first or dropped from the text's start.
  bool Begin(Sink* sink, uint64_t offset, bool addSignature, bool removeSignature);
  // Converts data[0, len), the next bytes of the text. *used is what was
  // consumed: less than len only when the text goes on (!end) and its last
  // character is cut. False when the text cannot go on (failure()).
  bool Convert(const unsigned char* data, size_t len, bool end, size_t* used);
  // Ends the text: what a stateful encoder writes last; the descriptors
  // return to their initial states.
  bool End();

  const Failure& failure() const { return failure_; }
  const Tally& tally() const { return tally_; }
  uint64_t lines() const { return lines_; }  // line feeds converted in this text

 private:
  enum Outcome { kDone, kCut, kFailed };
  Outcome Decode(const unsigned char** in, size_t* left, bool end);
  // Encodes pivot text; `source` is where the decoder's call that made it
  // began and `skipped` the bytes of it dropped before `units` (source null:
  // the input is the pivot itself).
  Outcome Encode(const unsigned char* units, size_t length, const unsigned char* source,
                 size_t skipped, size_t* used);
  bool Emit(uint16_t unit);
  void Count(const unsigned char* units, size_t length, uint64_t* lines, uint64_t* column) const;
  uint64_t Locate(const unsigned char* source, size_t pivotBytes);
  void FollowDecoder(const unsigned char* from, const unsigned char* to);
  bool Fail(Failure::Kind kind, const unsigned char* at);
  Outcome Stop(Failure::Kind kind, const unsigned char* at) {
    Fail(kind, at);
    return kFailed;
  }
  uint64_t Offset(const unsigned char* p) const { return offset_ + (p - base_); }

  std::string from_, to_;
  Policy policy_ = Policy::kStop;
  NLS_Iconv_t decoder_ = nullptr;  // null when the source is the pivot
  NLS_Iconv_t encoder_ = nullptr;  // null when the target is the pivot
  // Finds the byte offset of a character the encoder refused: a fresh
  // decoder for stateless sources, else one that follows the decoder a
  // pivot buffer behind.
  NLS_Iconv_t locator_ = nullptr;
  bool follow_ = false;
  NLS_Iconv_t plain_ = nullptr;  // the encoder without //TRANSLIT, to count approximations
  uint64_t Unrepresentable(const unsigned char* units, size_t length);
  unsigned properties_ = 0;
  const char* targetCanonical_ = "";
  uint16_t invalidReplacement_ = 0xFFFD;  // '?' when the target has no U+FFFD
  struct Replacement {
    uint16_t unit;
    unsigned char bytes[16];
    size_t length;  // 0: through the encoder
  } replacements_[2] = {};
  ByteBuffer pivot_, scratch_;

  Sink* sink_ = nullptr;
  const unsigned char* base_ = nullptr;  // data of the current Convert call
  uint64_t offset_ = 0;                  // input offset of base_
  const unsigned char* bufferEnd_ = nullptr;
  bool atStart_ = false;  // nothing of the text converted yet
  bool removeSignature_ = false;
  uint64_t lines_ = 0, column_ = 0;
  Tally tally_;
  Failure failure_;
};

}  // namespace nlsconv

#endif  // NLSCONV_TRANSCODER_H
