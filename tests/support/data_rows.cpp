#include "tests/support/data_rows.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

using nlohmann::json;

namespace {

[[noreturn]] void Fail(const std::string& at, const std::string& why) { throw std::runtime_error(at + ": " + why); }

/// Throws std::invalid_argument.
void AppendGroup(const std::string& group, std::vector<unsigned char>& bytes) {
  if (group[0] == '\'' || group[0] == '~') {
    const std::u16string text(group.begin() + 1, group.end());
    const KxBytes record =
        group[0] == '~' ? CkxRecordBytes().Obfuscated(text).Bytes() : CkxRecordBytes().Text(text).Bytes();
    bytes.insert(bytes.end(), record.begin(), record.end());
    return;
  }
  const size_t star = group.find('*');
  const std::string digits = group.substr(0, star);
  std::vector<unsigned char> once;
  for (size_t at = 0; at < digits.size(); at += 2) {
    size_t used = 0;
    once.push_back(static_cast<unsigned char>(std::stoul(digits.substr(at, 2), &used, 16)));
    if (used != 2) throw std::invalid_argument(group);
  }
  for (size_t left = star == std::string::npos ? 1 : std::stoul(group.substr(star + 1)); left != 0; --left) {
    bytes.insert(bytes.end(), once.begin(), once.end());
  }
}

}  // namespace

CkxDataRow::CkxDataRow(std::string at, const json& fields)
    : _at(std::move(at)), _fields(std::make_shared<json>(fields)) {}

void CkxDataRow::RequireCount(size_t count) const {
  if (!_fields->is_array() || _fields->size() != count) Fail(_at, "not an array of " + std::to_string(count));
}

bool CkxDataRow::IsNull(size_t index) const { return _fields->at(index).is_null(); }

template <class Value>
void CkxDataRow::Get(size_t index, Value& value) const {
  try {
    value = _fields->at(index).get<Value>();
  } catch (const json::exception& fault) {
    Fail(_at, "field " + std::to_string(index) + ": " + fault.what());
  }
}

void CkxDataRow::Read(size_t index, std::string& value) const { Get(index, value); }
void CkxDataRow::Read(size_t index, json& value) const { value = _fields->at(index); }
void CkxDataRow::Read(size_t index, bool& value) const { Get(index, value); }
void CkxDataRow::Read(size_t index, std::vector<std::string>& value) const { Get(index, value); }

void CkxDataRow::Read(size_t index, uint64_t& value) const {
  if (!_fields->at(index).is_number_unsigned()) Fail(_at, "field " + std::to_string(index) + ": no number from 0 on");
  Get(index, value);
}

void CkxDataRow::Read(size_t index, KxWString& value) const {
  std::string utf8;
  Get(index, utf8);
  value = KxText_FromUtf8(utf8).value();
}

void CkxDataRow::Read(size_t index, std::vector<unsigned char>& value) const {
  std::string text;
  Get(index, text);
  std::istringstream groups(text);
  try {
    for (std::string group; groups >> group;) AppendGroup(group, value);
  } catch (const std::invalid_argument&) {
    Fail(_at, "field " + std::to_string(index) + ": no bytes");
  }
}

std::vector<CkxDataRow> KxTest_Rows(const std::string& file) {
  const std::string path = "tests/data/" + file;
  std::ifstream in(path, std::ios::binary);
  if (!in) Fail(path, "cannot be read");
  std::vector<CkxDataRow> rows;
  std::string line;
  for (size_t number = 1; std::getline(in, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();  // as Git may check files out on Windows
    if (line.empty() || line[0] == '#') continue;
    const std::string at = path + ":" + std::to_string(number);
    const json fields = json::parse(line, nullptr, false);
    if (fields.is_discarded()) Fail(at, "no JSON");
    rows.emplace_back(at, fields);
  }
  if (rows.empty()) Fail(path, "no cases");
  return rows;
}
