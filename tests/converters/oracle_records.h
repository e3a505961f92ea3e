// Reads the oracle files of tests/oracle/*.py: records of a fixed number of
// fields, each field a 32-bit little-endian length followed by its bytes.
#ifndef NLSCNV_TESTS_CONVERTERS_ORACLE_RECORDS_H
#define NLSCNV_TESTS_CONVERTERS_ORACLE_RECORDS_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace nls_test {

inline std::vector<std::vector<Bytes>> LoadRecords(const std::string& name, size_t fields) {
  const Bytes file = ReadFile(OraclePath(name));
  std::vector<std::vector<Bytes>> records;
  size_t p = 0;
  while (p < file.size()) {
    std::vector<Bytes> record;
    for (size_t f = 0; f < fields; ++f) {
      uint32_t n = 0;
      if (file.size() - p < 4) break;
      std::memcpy(&n, &file[p], 4);
      if (file.size() - p - 4 < n) break;
      record.emplace_back(file.begin() + static_cast<long>(p + 4),
                          file.begin() + static_cast<long>(p + 4 + n));
      p += 4 + n;
    }
    if (record.size() != fields) {
      ADD_FAILURE() << name << ": truncated record";
      break;
    }
    records.push_back(std::move(record));
  }
  return records;
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_CONVERTERS_ORACLE_RECORDS_H
