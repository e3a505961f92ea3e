// The trained tables of NLS_DetectEncodings (detection_models.cpp, written by
// train_models.py). Costs are -8 ln p: eighths of a natural logarithm.
#ifndef NLSCNV_DETECTION_DETECTION_MODELS_H
#define NLSCNV_DETECTION_DETECTION_MODELS_H

#include <cstdint>

namespace nls::detect::models {

// Character classes of the single-byte models; letters of a language's
// alphabet are kFirstLetter and up.
inline constexpr unsigned kClasses = 64;
inline constexpr uint8_t kSpace = 0;    // white space
inline constexpr uint8_t kPunct = 1;    // ASCII punctuation and digits
inline constexpr uint8_t kSymbol = 2;   // other punctuation and symbols
inline constexpr uint8_t kOther = 3;    // a letter outside the alphabet
inline constexpr uint8_t kControl = 4;  // control characters
inline constexpr uint8_t kFirstLetter = 5;
// In byte-class tables: upper-case flag, and the mark of an unassigned byte.
inline constexpr uint8_t kUpperFlag = 0x40;
inline constexpr uint8_t kUndefined = 0xFF;

struct SingleByteEncoding {
  const char* name;      // canonical name
  uint16_t prior;        // cost added to every reading in this encoding
  uint16_t decode[128];  // code point of bytes 0x80-0xFF, 0xFFFF unassigned
};

struct Language {
  const char* code;             // ISO 639-1
  const uint8_t* pairCost;      // [previous class * kClasses + class]
  uint8_t classCost[kClasses];  // cost of each class on its own
  uint8_t caseCost[3][2];       // [previous: lower, upper, no letter][lower, upper]
  uint8_t asciiClass[128];      // class (with kUpperFlag) of bytes 0x00-0x7F
  uint8_t asciiCost[128];       // character cost within the class
};

// One (language, encoding) pair: classes and character costs of 0x80-0xFF.
struct SingleByteModel {
  uint8_t language;  // index into kLanguages
  uint8_t encoding;  // index into kSingleByteEncodings
  uint8_t highClass[128];
  uint8_t highCost[128];
};

struct FamilyMember {
  const char* name;
  uint16_t prior;
};

// A CJK family: encodings that share one byte layout, base first.
// codes[(lead - 0x81) * 192 + trail - 0x40] for leads 0x81-0xFE and trails
// 0x40-0xFF: bits 4-6 the members that decode the pair, bits 0-3 the
// frequency bucket of its character, bit 7 set when preferences name it.
struct MultiByteFamily {
  const char* kind;
  const char* language;
  const uint8_t* codes;
  uint8_t single[128];     // bytes 0x80-0xFF that stand alone: mask and bucket
  uint8_t bucketCost[16];  // bucket 0: decoded but not seen in training
  uint8_t asciiCost[128];
  const uint16_t* preferences;  // pairs (code, member) sorted by code
  uint16_t preferenceCount;
  uint8_t memberCount;
  FamilyMember members[3];
};
inline constexpr unsigned kLeadFirst = 0x81;
inline constexpr unsigned kLeadCount = 126;
inline constexpr unsigned kTrailFirst = 0x40;
inline constexpr unsigned kTrailCount = 192;

extern const SingleByteEncoding kSingleByteEncodings[];
extern const unsigned kSingleByteEncodingCount;
extern const Language kLanguages[];
extern const unsigned kLanguageCount;
extern const SingleByteModel kSingleByteModels[];
extern const unsigned kSingleByteModelCount;
extern const MultiByteFamily kFamilies[];
extern const unsigned kFamilyCount;
// EUC-JP 0x8F b2 b3 (JIS X 0212): bit (b2 - 0xA1) * 94 + b3 - 0xA1.
extern const uint8_t kEucJpThreeByte[];

}  // namespace nls::detect::models

#endif  // NLSCNV_DETECTION_DETECTION_MODELS_H
