// The table-driven encodings of the converter libraries as the tests know
// them (independently of the table generator), and readers for the oracle
// files of tests/oracle/convlibs_vectors.py. (The CJK libraries are codecs:
// tests/convlibs_registry/cjk_cases_test.cpp and the differential tests.)
#ifndef NLSCNV_TESTS_CONVLIBS_CONVLIBS_SUPPORT_H
#define NLSCNV_TESTS_CONVLIBS_CONVLIBS_SUPPORT_H

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nlscnv/converter.h"
#include "support/test_support.h"

// The factories the libraries export (C names, as the registry finds them).
#define NLS_DECLARE_FACTORIES(STEM)                                       \
  extern "C" TEncodingConverter* NEW##STEM##TOUNICODEENCODINGCONVERTER(); \
  extern "C" TEncodingConverter* NEWUNICODETO##STEM##ENCODINGCONVERTER();

NLS_DECLARE_FACTORIES(CP1250)
NLS_DECLARE_FACTORIES(CP1251)
NLS_DECLARE_FACTORIES(CP1252)
NLS_DECLARE_FACTORIES(CP1253)
NLS_DECLARE_FACTORIES(CP1254)
NLS_DECLARE_FACTORIES(CP1255)
NLS_DECLARE_FACTORIES(CP1256)
NLS_DECLARE_FACTORIES(CP1257)
NLS_DECLARE_FACTORIES(CP1258)
NLS_DECLARE_FACTORIES(ISO88592)
NLS_DECLARE_FACTORIES(ISO88593)
NLS_DECLARE_FACTORIES(ISO88594)
NLS_DECLARE_FACTORIES(ISO88595)
NLS_DECLARE_FACTORIES(ISO88596)
NLS_DECLARE_FACTORIES(ISO88597)
NLS_DECLARE_FACTORIES(ISO88598)
NLS_DECLARE_FACTORIES(ISO88599)
NLS_DECLARE_FACTORIES(ISO885910)
NLS_DECLARE_FACTORIES(ISO885911)
NLS_DECLARE_FACTORIES(ISO885913)
NLS_DECLARE_FACTORIES(ISO885914)
NLS_DECLARE_FACTORIES(ISO885915)
NLS_DECLARE_FACTORIES(ISO885916)
NLS_DECLARE_FACTORIES(KOI8R)
NLS_DECLARE_FACTORIES(KOI8U)
NLS_DECLARE_FACTORIES(IBM437)
NLS_DECLARE_FACTORIES(IBM850)
NLS_DECLARE_FACTORIES(IBM866)

namespace convlibs_test {

using nls_test::Bytes;
using Factory = TEncodingConverter* (*)();

struct TableEncoding {
  const char* name;   // canonical name
  const char* codec;  // Python codec of the oracle files
  Factory toUcs2;
  Factory fromUcs2;
  // Lead bytes whose trail bytes go through the two-byte table with high bits
  // set (their high bit is not checked); 0 when the encoding has none.
  unsigned char grFirst, grLast;
  bool x0212;  // 0x8F + two bytes through the JIS X 0212 table
};

// Test names and failure messages show the encoding's name.
inline void PrintTo(const TableEncoding& e, std::ostream* os) { *os << e.name; }

#define NLS_FACTORIES(STEM) \
  NEW##STEM##TOUNICODEENCODINGCONVERTER, NEWUNICODETO##STEM##ENCODINGCONVERTER

inline const std::vector<TableEncoding>& TableEncodings() {
  static const std::vector<TableEncoding> list = {
      {"windows-1250", "cp1250", NLS_FACTORIES(CP1250), 0, 0, false},
      {"windows-1251", "cp1251", NLS_FACTORIES(CP1251), 0, 0, false},
      {"windows-1252", "cp1252", NLS_FACTORIES(CP1252), 0, 0, false},
      {"windows-1253", "cp1253", NLS_FACTORIES(CP1253), 0, 0, false},
      {"windows-1254", "cp1254", NLS_FACTORIES(CP1254), 0, 0, false},
      {"windows-1255", "cp1255", NLS_FACTORIES(CP1255), 0, 0, false},
      {"windows-1256", "cp1256", NLS_FACTORIES(CP1256), 0, 0, false},
      {"windows-1257", "cp1257", NLS_FACTORIES(CP1257), 0, 0, false},
      {"windows-1258", "cp1258", NLS_FACTORIES(CP1258), 0, 0, false},
      {"ISO_8859-2:1987", "iso8859_2", NLS_FACTORIES(ISO88592), 0, 0, false},
      {"ISO_8859-3:1988", "iso8859_3", NLS_FACTORIES(ISO88593), 0, 0, false},
      {"ISO_8859-4:1988", "iso8859_4", NLS_FACTORIES(ISO88594), 0, 0, false},
      {"ISO_8859-5:1988", "iso8859_5", NLS_FACTORIES(ISO88595), 0, 0, false},
      {"ISO_8859-6:1987", "iso8859_6", NLS_FACTORIES(ISO88596), 0, 0, false},
      {"ISO_8859-7:1987", "iso8859_7", NLS_FACTORIES(ISO88597), 0, 0, false},
      {"ISO_8859-8:1988", "iso8859_8", NLS_FACTORIES(ISO88598), 0, 0, false},
      {"ISO_8859-9:1989", "iso8859_9", NLS_FACTORIES(ISO88599), 0, 0, false},
      {"ISO-8859-10", "iso8859_10", NLS_FACTORIES(ISO885910), 0, 0, false},
      {"ISO-8859-11", "iso8859_11", NLS_FACTORIES(ISO885911), 0, 0, false},
      {"ISO-8859-13", "iso8859_13", NLS_FACTORIES(ISO885913), 0, 0, false},
      {"ISO-8859-14", "iso8859_14", NLS_FACTORIES(ISO885914), 0, 0, false},
      {"ISO-8859-15", "iso8859_15", NLS_FACTORIES(ISO885915), 0, 0, false},
      {"ISO-8859-16", "iso8859_16", NLS_FACTORIES(ISO885916), 0, 0, false},
      {"KOI8-R", "koi8_r", NLS_FACTORIES(KOI8R), 0, 0, false},
      {"KOI8-U", "koi8_u", NLS_FACTORIES(KOI8U), 0, 0, false},
      {"IBM437", "cp437", NLS_FACTORIES(IBM437), 0, 0, false},
      {"IBM850", "cp850", NLS_FACTORIES(IBM850), 0, 0, false},
      {"IBM866", "cp866", NLS_FACTORIES(IBM866), 0, 0, false},
  };
  return list;
}

inline uint32_t ReadU32(const Bytes& data, size_t& pos) {
  uint32_t v = data.at(pos) | data.at(pos + 1) << 8 | data.at(pos + 2) << 16 |
               static_cast<uint32_t>(data.at(pos + 3)) << 24;
  pos += 4;
  return v;
}

inline Bytes ReadBlock(const Bytes& data, size_t& pos) {
  const uint32_t n = ReadU32(data, pos);
  Bytes block(data.begin() + static_cast<long>(pos), data.begin() + static_cast<long>(pos + n));
  pos += n;
  return block;
}

// Little-endian UCS-2 of the oracle files to UCS-2 units.
inline std::vector<uint16_t> LeUnits(const Bytes& le) {
  std::vector<uint16_t> units(le.size() / 2);
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<uint16_t>(le[2 * i] | le[2 * i + 1] << 8);
  return units;
}

// Pairs (input, units) of a .decode file, or of a .texts file (text, bytes)
// read as (first block, second block).
inline std::vector<std::pair<Bytes, Bytes>> ReadPairs(const std::string& file) {
  const Bytes data = nls_test::ReadFile(nls_test::OraclePath(file));
  std::vector<std::pair<Bytes, Bytes>> pairs;
  size_t pos = 0;
  while (pos < data.size()) {
    Bytes first = ReadBlock(data, pos);
    Bytes second = ReadBlock(data, pos);
    pairs.emplace_back(std::move(first), std::move(second));
  }
  return pairs;
}

// Character -> bytes of a .encode file.
inline std::map<uint16_t, Bytes> ReadEncodings(const std::string& file) {
  const Bytes data = nls_test::ReadFile(nls_test::OraclePath(file));
  std::map<uint16_t, Bytes> map;
  size_t pos = 0;
  while (pos + 3 <= data.size()) {
    const uint16_t c = static_cast<uint16_t>(data[pos] | data[pos + 1] << 8);
    const size_t n = data[pos + 2];
    map[c] = Bytes(data.begin() + static_cast<long>(pos + 3),
                   data.begin() + static_cast<long>(pos + 3 + n));
    pos += 3 + n;
  }
  return map;
}

// Converts all of `in` with one call into a buffer of `dstSize` bytes.
struct Converted {
  int status;
  Bytes out;
  unsigned used;
};
inline Converted ConvertAll(TEncodingConverter* c, const Bytes& in, unsigned dstSize) {
  Bytes buffer(dstSize);
  unsigned produced = 0, used = 0;
  int st = c->Convert(buffer.data(), &produced, dstSize, in.empty() ? nullptr : in.data(),
                      static_cast<unsigned>(in.size()), &used);
  buffer.resize(produced <= dstSize ? produced : dstSize);
  return {st, buffer, used};
}

inline std::string Hex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  for (unsigned char b : bytes) {
    if (!s.empty()) s += ' ';
    s += kDigits[b >> 4];
    s += kDigits[b & 15];
  }
  return s;
}

}  // namespace convlibs_test

#endif  // NLSCNV_TESTS_CONVLIBS_CONVLIBS_SUPPORT_H
