#include "tests/support/data_rows.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Common_CPP/util/text.h"

using nlohmann::json;

namespace {

[[noreturn]] void Fail(const std::string& at, const std::string& why) { throw std::runtime_error(at + ": " + why); }

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
