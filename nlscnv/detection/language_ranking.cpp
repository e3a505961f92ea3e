// Ranking by language models: every (language, single-byte encoding) pair and
// every CJK family scores the buffer as a cost, -8 ln p of the bytes under
// its model plus the encoding's prior; the costs become probabilities.
//
// Single-byte models score the first kPrefix bytes with letter-pair costs;
// beyond it, bytes 0x80-0xFF count by their single-character cost (from the
// histogram). Bytes an encoding leaves unassigned anywhere in the buffer rule
// it out, and so do control characters in more than 1/32 of the bytes.
// CJK families score the first kPrefix bytes and check the validity of every
// character of the rest for the families that are still in the running.
#include <cmath>
#include <cstring>

#include "nlscnv.h"
#include "nlscnv/detection/detection_models.h"
#include "nlscnv/detection/encoding_ranking.h"

namespace nls::detect {

namespace {

using namespace nls::detect::models;

constexpr uint32_t kPrefix = 4096;
// Models whose class-frequency score is this far behind the best (per byte
// 0x80-0xFF, in cost units) are not scored with letter pairs.
constexpr uint32_t kPrefilterPerByte = 12;
constexpr uint32_t kPrefilterBase = 80;
constexpr unsigned kMaxScored = 40;
// Cost units per natural logarithm, and the temperature that turns cost
// differences into probabilities (the models are not independent per byte).
constexpr double kUnitsPerNat = 8.0;
constexpr double kTemperature = 1.5;

constexpr unsigned kMaxCandidates = 120;

struct Candidate {
  const char* encoding;
  const char* language;
  int encodingIndex;  // single-byte encoding, or -1
  double cost;
};

// 0 lower-case letter, 1 upper-case letter, 2 not a letter: by class byte.
inline unsigned CaseKind(uint8_t cls) {
  const unsigned c = cls & 0x3F;
  if (c < kFirstLetter && c != kOther) return 2;
  return (cls & kUpperFlag) ? 1 : 0;
}

struct SingleByteRun {
  const SingleByteModel* model;
  uint64_t prescore;
};

// Letter-pair cost of buf[0, n) under one model.
uint64_t ScorePairs(const Language& lang, const SingleByteModel& m, const unsigned char* buf,
                    uint32_t n) {
  uint8_t cls[256];
  uint8_t cost[256];
  std::memcpy(cls, lang.asciiClass, 128);
  std::memcpy(cls + 128, m.highClass, 128);
  std::memcpy(cost, lang.asciiCost, 128);
  std::memcpy(cost + 128, m.highCost, 128);
  uint8_t kind[256];
  for (unsigned b = 0; b < 256; ++b) kind[b] = static_cast<uint8_t>(CaseKind(cls[b]));
  const uint8_t* pairs = lang.pairCost;
  uint64_t total = 0;
  unsigned prevClass = kSpace;
  unsigned prevKind = 2;
  for (uint32_t i = 0; i < n; ++i) {
    const unsigned char b = buf[i];
    const unsigned c = cls[b] & 0x3F;
    const unsigned k = kind[b];
    total += pairs[prevClass * kClasses + c] + cost[b];
    if (k != 2) total += lang.caseCost[prevKind][k];
    prevClass = c;
    prevKind = k;
  }
  return total;
}

// Class-frequency cost of the bytes 0x80-0xFF counted in `hist`.
uint64_t ScoreHighBytes(const Language& lang, const SingleByteModel& m, const uint32_t* hist) {
  uint64_t total = 0;
  for (unsigned b = 0; b < 128; ++b) {
    const uint32_t n = hist[128 + b];
    if (n) total += uint64_t(n) * (lang.classCost[m.highClass[b] & 0x3F] + m.highCost[b]);
  }
  return total;
}

void RankSingleByte(const unsigned char* buf, uint32_t len, const ByteCensus& census,
                    Candidate* out, unsigned* count) {
  const uint32_t prefix = len < kPrefix ? len : kPrefix;
  uint32_t histPrefix[256] = {};
  for (uint32_t i = 0; i < prefix; ++i) ++histPrefix[buf[i]];
  uint32_t histRest[256];
  for (unsigned b = 0; b < 256; ++b) histRest[b] = census.histogram[b] - histPrefix[b];
  uint32_t highPrefix = 0;
  for (unsigned b = 128; b < 256; ++b) highPrefix += histPrefix[b];

  // Encodings that leave a byte of the buffer unassigned are out.
  bool usable[128];
  for (unsigned e = 0; e < kSingleByteEncodingCount && e < 128; ++e) {
    usable[e] = true;
    for (unsigned b = 0; b < 128; ++b) {
      if (census.histogram[128 + b] && kSingleByteEncodings[e].decode[b] == 0xFFFF) {
        usable[e] = false;
        break;
      }
    }
  }

  // Class frequencies of the prefix's ASCII bytes, per language.
  uint64_t asciiScore[64] = {};
  for (unsigned l = 0; l < kLanguageCount && l < 64; ++l) {
    const Language& lang = kLanguages[l];
    for (unsigned b = 0; b < 128; ++b) {
      if (histPrefix[b]) {
        asciiScore[l] += uint64_t(histPrefix[b]) *
                         (lang.classCost[lang.asciiClass[b] & 0x3F] + lang.asciiCost[b]);
      }
    }
  }

  SingleByteRun runs[kMaxScored];
  unsigned nruns = 0;
  uint64_t best = UINT64_MAX;
  // First pass: class frequencies of the prefix; keep the closest
  // kMaxScored models within the margin.
  SingleByteRun all[256];
  unsigned nall = 0;
  for (unsigned i = 0; i < kSingleByteModelCount && nall < 256; ++i) {
    const SingleByteModel& m = kSingleByteModels[i];
    if (!usable[m.encoding]) continue;
    const Language& lang = kLanguages[m.language];
    uint32_t controls = census.zeros + census.controls;
    for (unsigned b = 0; b < 128; ++b) {
      if ((m.highClass[b] & 0x3F) == kControl) controls += census.histogram[128 + b];
    }
    if (controls > len / 32) continue;
    const uint64_t s = ScoreHighBytes(lang, m, histPrefix) + asciiScore[m.language];
    all[nall++] = SingleByteRun{&m, s};
    if (s < best) best = s;
  }
  const uint64_t limit = best + kPrefilterBase + uint64_t(kPrefilterPerByte) * highPrefix;
  for (unsigned i = 0; i < nall; ++i) {
    if (all[i].prescore > limit) continue;
    if (nruns < kMaxScored) {
      runs[nruns++] = all[i];
      continue;
    }
    // Replace the worst kept one when this one is better.
    unsigned worst = 0;
    for (unsigned k = 1; k < nruns; ++k) {
      if (runs[k].prescore > runs[worst].prescore) worst = k;
    }
    if (all[i].prescore < runs[worst].prescore) runs[worst] = all[i];
  }

  // Letter pairs over the prefix; the rest by class frequencies, counted
  // relative to the best so that comparisons with CJK families (scored on
  // the prefix only) stay fair.
  double rest[kMaxScored];
  double restBest = 1e300;
  for (unsigned i = 0; i < nruns; ++i) {
    const SingleByteModel& m = *runs[i].model;
    const Language& lang = kLanguages[m.language];
    rest[i] = len > prefix ? double(ScoreHighBytes(lang, m, histRest)) : 0.0;
    if (rest[i] < restBest) restBest = rest[i];
  }
  for (unsigned i = 0; i < nruns && *count < kMaxCandidates; ++i) {
    const SingleByteModel& m = *runs[i].model;
    const Language& lang = kLanguages[m.language];
    const SingleByteEncoding& e = kSingleByteEncodings[m.encoding];
    const double total = double(ScorePairs(lang, m, buf, prefix)) + (rest[i] - restBest) + e.prior;
    out[(*count)++] = Candidate{e.name, lang.code, int(m.encoding), total};
  }
}

// ---- CJK families ------------------------------------------------------------

struct FamilyScan {
  uint32_t pos = 0;
  uint8_t alive = 0;     // members still decoding everything
  uint8_t required = 0;  // the member that a preferred code named
  uint64_t cost = 0;
  uint32_t chars = 0;  // complete characters of bytes 0x80-0xFF
  bool cut = false;    // stopped at a character cut by the end
};

bool GbFourByte(const unsigned char* p) {
  if (p[2] < 0x81 || p[2] > 0xFE || p[3] < 0x30 || p[3] > 0x39) return false;
  const uint32_t linear =
      ((uint32_t(p[0] - 0x81) * 10 + (p[1] - 0x30)) * 126 + (p[2] - 0x81)) * 10 + (p[3] - 0x30);
  return linear <= 39419 || (linear >= 189000 && linear <= 1237575);
}

int Preference(const MultiByteFamily& f, uint16_t code) {
  uint32_t lo = 0, hi = f.preferenceCount;
  while (lo < hi) {
    const uint32_t mid = (lo + hi) / 2;
    const uint16_t c = f.preferences[2 * mid];
    if (c == code) return f.preferences[2 * mid + 1];
    if (c < code) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return 0;
}

// Scans buf[scan->pos, end) under family f; costs are added while withCost.
void ScanFamily(const MultiByteFamily& f, bool eucJp, bool gb, const unsigned char* buf,
                uint32_t len, uint32_t end, bool withCost, FamilyScan* scan) {
  uint32_t i = scan->pos;
  uint8_t alive = scan->alive;
  uint64_t cost = scan->cost;
  uint32_t chars = scan->chars;
  const uint8_t rare = f.bucketCost[0];
  while (i < end && alive) {
    const unsigned char b = buf[i];
    if (b < 0x80) {
      if (withCost) cost += f.asciiCost[b];
      ++i;
      continue;
    }
    const uint8_t single = f.single[b - 0x80];
    if (single) {
      alive &= single >> 4;
      if (withCost) cost += f.bucketCost[single & 15];
      ++chars;
      ++i;
      continue;
    }
    if (b < kLeadFirst || b >= kLeadFirst + kLeadCount) {
      alive = 0;
      break;
    }
    if (i + 1 >= len) {
      scan->cut = true;
      i = len;
      break;
    }
    const unsigned char t = buf[i + 1];
    if (eucJp && b == 0x8F) {
      if (i + 2 >= len) {
        scan->cut = true;
        i = len;
        break;
      }
      const unsigned char t2 = buf[i + 2];
      if (t < 0xA1 || t > 0xFE || t2 < 0xA1 || t2 > 0xFE) {
        alive = 0;
        break;
      }
      const unsigned bit = (t - 0xA1) * 94 + (t2 - 0xA1);
      if (!(kEucJpThreeByte[bit >> 3] & (1u << (bit & 7)))) alive = 0;
      if (withCost) cost += rare;
      ++chars;
      i += 3;
      continue;
    }
    if (gb && t >= 0x30 && t <= 0x39) {
      if (i + 3 >= len) {
        scan->cut = true;
        i = len;
        break;
      }
      // Four-byte GB18030 (the third member).
      alive &= GbFourByte(buf + i) ? 0x4 : 0;
      if (withCost) cost += rare;
      ++chars;
      i += 4;
      continue;
    }
    if (t < kTrailFirst) {
      alive = 0;
      break;
    }
    const uint8_t v = f.codes[(b - kLeadFirst) * kTrailCount + (t - kTrailFirst)];
    alive &= v >> 4;
    if (withCost) cost += f.bucketCost[v & 15];
    if (v & 0x80) {
      const int member = Preference(f, uint16_t(b << 8 | t));
      if (member > scan->required) scan->required = static_cast<uint8_t>(member);
    }
    ++chars;
    i += 2;
  }
  // A character cut by the end costs as much as a rare one.
  if (scan->cut && withCost) cost += rare;
  scan->pos = i;
  scan->alive = alive;
  scan->cost = cost;
  scan->chars = chars;
}

}  // namespace

void RankByLanguageModels(const unsigned char* buf, uint32_t len, const ByteCensus& census,
                          double share, RankedList* list) {
  Candidate cands[kMaxCandidates];
  unsigned count = 0;
  RankSingleByte(buf, len, census, cands, &count);
  const unsigned singleCount = count;

  const uint32_t prefix = len < kPrefix ? len : kPrefix;
  FamilyScan scans[8];
  double bestCost = 1e300;
  for (unsigned i = 0; i < singleCount; ++i) {
    if (cands[i].cost < bestCost) bestCost = cands[i].cost;
  }
  for (unsigned fi = 0; fi < kFamilyCount && fi < 8; ++fi) {
    const MultiByteFamily& f = kFamilies[fi];
    const bool eucJp = std::strcmp(f.kind, "eucjp") == 0;
    const bool gb = std::strcmp(f.kind, "gb") == 0;
    FamilyScan& s = scans[fi];
    s.alive = static_cast<uint8_t>((1u << f.memberCount) - 1);
    ScanFamily(f, eucJp, gb, buf, len, prefix, true, &s);
    if (s.alive && double(s.cost) < bestCost) bestCost = double(s.cost);
  }
  // The rest of the buffer: validity only, for the families in the running.
  const double margin = 40.0 * kUnitsPerNat;
  for (unsigned fi = 0; fi < kFamilyCount && fi < 8; ++fi) {
    const MultiByteFamily& f = kFamilies[fi];
    FamilyScan& s = scans[fi];
    if (!s.alive) continue;
    if (double(s.cost) > bestCost + margin) {
      s.alive = 0;
      continue;
    }
    if (s.pos < len) {
      ScanFamily(f, std::strcmp(f.kind, "eucjp") == 0, std::strcmp(f.kind, "gb") == 0, buf, len,
                 len, false, &s);
    }
    // Without one whole character the family has shown nothing.
    if (!s.alive || s.chars == 0 || count >= kMaxCandidates) continue;
    // The base unless a character needs a superset or a code reads better
    // in one.
    unsigned chosen = f.memberCount;
    for (unsigned m = s.required; m < f.memberCount; ++m) {
      if (s.alive & (1u << m)) {
        chosen = m;
        break;
      }
    }
    if (chosen == f.memberCount) {
      for (unsigned m = 0; m < f.memberCount; ++m) {
        if (s.alive & (1u << m)) {
          chosen = m;
          break;
        }
      }
    }
    cands[count++] =
        Candidate{f.members[chosen].name, f.language, -1, double(s.cost) + f.members[chosen].prior};
  }
  if (count == 0) return;

  // Probabilities from costs.
  double minCost = cands[0].cost;
  for (unsigned i = 1; i < count; ++i) {
    if (cands[i].cost < minCost) minCost = cands[i].cost;
  }
  double weights[kMaxCandidates];
  double sum = 0;
  unsigned best = 0;
  for (unsigned i = 0; i < count; ++i) {
    weights[i] = std::exp(-(cands[i].cost - minCost) / (kUnitsPerNat * kTemperature));
    sum += weights[i];
    if (cands[i].cost < cands[best].cost) best = i;
  }
  // The best reading's probability includes the encodings that decode the
  // buffer to the same text (single-byte encodings agreeing on every byte
  // 0x80-0xFF present).
  bool same[kMaxCandidates] = {};
  double bestMass = 0;
  const int be = cands[best].encodingIndex;
  for (unsigned i = 0; i < count; ++i) {
    const int e = cands[i].encodingIndex;
    bool identical = std::strcmp(cands[i].encoding, cands[best].encoding) == 0;
    if (!identical && be >= 0 && e >= 0) {
      identical = true;
      for (unsigned b = 0; b < 128 && identical; ++b) {
        if (census.histogram[128 + b] &&
            kSingleByteEncodings[e].decode[b] != kSingleByteEncodings[be].decode[b]) {
          identical = false;
        }
      }
    }
    same[i] = identical;
    if (identical) bestMass += weights[i];
  }
  for (unsigned i = 0; i < count; ++i) {
    if (i == best) {
      list->Add(cands[i].encoding, cands[i].language, share * bestMass / sum);
    }
  }
  for (unsigned i = 0; i < count; ++i) {
    if (i == best || std::strcmp(cands[i].encoding, cands[best].encoding) == 0) continue;
    list->Add(cands[i].encoding, cands[i].language, share * weights[i] / sum, 0,
              same[i] ? NLS_DETECT_SAME_TEXT : 0);
  }
}

}  // namespace nls::detect
