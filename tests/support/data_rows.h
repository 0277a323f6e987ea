// Cases that are data: files below tests/data/ that a person can read and another implementer can run.
//
// A line is a JSON array, a case of that file's fields; lines that are empty or begin with # are for the reader:
//
//   # a drive
//   ["C:\\Tools\\a.exe", "FIXED", null]
//
//   KxTest_ForRows<KxWString, std::string, std::optional<uint32_t>>("location.jsonl", [](auto& path, ...) { ... });
//
// A file that cannot be read or has no case, and a case of other fields, fail the test that asks; whatever fails in a
// case is told with its file and line.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Common_CPP/util/text_view.h"

class CkxDataRow {
 public:
  CkxDataRow(std::string at, const nlohmann::json& fields);

  const std::string& At() const { return _at; }  ///< "FILE:LINE"
  const nlohmann::json& Fields() const { return *_fields; }
  /// Throws when it is no array, or one of more fields or fewer.
  void RequireCount(size_t count) const;

  // Each throws when the field is of another type, or a number out of range.
  void Read(size_t index, std::string& value) const;
  void Read(size_t index, KxWString& value) const;
  void Read(size_t index, bool& value) const;
  void Read(size_t index, uint64_t& value) const;
  void Read(size_t index, std::vector<std::string>& value) const;
  void Read(size_t index, nlohmann::json& value) const;
  /// Bytes are hexadecimal, in groups of any length between blanks; "00*16" is the group sixteen times. 'text and ~text
  /// are texts of records as they are and obfuscated, counted and with their NUL.
  void Read(size_t index, std::vector<unsigned char>& value) const;
  /// null, or the value.
  template <class Value>
  void Read(size_t index, std::optional<Value>& value) const {
    if (!IsNull(index)) Read(index, value.emplace());
  }

 private:
  bool IsNull(size_t index) const;
  template <class Value>
  void Get(size_t index, Value& value) const;

  std::string _at;
  std::shared_ptr<const nlohmann::json> _fields;
};

/// The cases of tests/data/FILE, in their order; throws when there are none.
std::vector<CkxDataRow> KxTest_Rows(const std::string& file);

template <class... Fields, class Check>
void KxTest_ForRows(const std::string& file, Check check) {
  for (const CkxDataRow& row : KxTest_Rows(file)) {
    SCOPED_TRACE(row.At());
    row.RequireCount(sizeof...(Fields));
    std::tuple<Fields...> fields;
    size_t index = 0;
    std::apply([&](auto&... field) { (row.Read(index++, field), ...); }, fields);
    std::apply(check, fields);
  }
}
