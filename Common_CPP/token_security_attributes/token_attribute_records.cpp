#include "Common_CPP/token_security_attributes/token_attribute_records.h"

#include <algorithm>
#include <cstring>

namespace {

/// Reads records through pointers that must all lead into one buffer.
class AnswerReader {
 public:
  explicit AnswerReader(std::span<const unsigned char> answer) : _answer(answer) {}

  bool IsGood() const { return _isGood; }

  /// `count` records at `at`; none, and no good any more, when they are not all inside.
  template <class Record>
  std::vector<Record> Records(const void* at, uint64_t count) {
    std::vector<Record> records;
    const unsigned char* const bytes = BytesAt(at, count, sizeof(Record));
    if (bytes == nullptr) return records;
    records.resize(static_cast<size_t>(count));
    std::memcpy(records.data(), bytes, records.size() * sizeof(Record));
    return records;
  }

  KxWString Text(const SkxTokenNameRecord& name) {
    if (name.bytes % sizeof(WCHAR) != 0) _isGood = false;
    const std::vector<WCHAR> units = Records<WCHAR>(name.units, name.bytes / sizeof(WCHAR));
    return KxWString(units.begin(), units.end());
  }

  SkxTokenAttribute Attribute(const SkxTokenAttributeRecord& record) {
    SkxTokenAttribute attribute = {Text(record.name), record.type, record.flags, {}};
    switch (record.type) {
      case KxTokenInt64:
      case KxTokenUInt64:
      case KxTokenBoolean:
        AddValues<uint64_t>(attribute, record, [](uint64_t number, auto& value) { value.number = number; });
        break;
      case KxTokenString:
        AddValues<SkxTokenNameRecord>(attribute, record, [this](auto& text, auto& value) { value.text = Text(text); });
        break;
      case KxTokenFqbn:
        AddValues<SkxTokenProgramRecord>(attribute, record, [this](auto& program, auto& value) {
          value.number = program.version;
          value.text = Text(program.name);
        });
        break;
      case KxTokenSid:
      case KxTokenOctetString:
        AddValues<SkxTokenBytesRecord>(attribute, record, [this](auto& bytes, auto& value) {
          value.bytes = Records<unsigned char>(bytes.bytes, bytes.count);
        });
        break;
      default:
        attribute.values.resize(std::min<size_t>(record.valueCount, _answer.size()));
        break;
    }
    return attribute;
  }

 private:
  template <class Record, class Fill>
  void AddValues(SkxTokenAttribute& attribute, const SkxTokenAttributeRecord& record, Fill fill) {
    for (const Record& read : Records<Record>(record.values, record.valueCount))
      fill(read, attribute.values.emplace_back());
  }

  const unsigned char* BytesAt(const void* at, uint64_t count, size_t size) {
    const auto begin = reinterpret_cast<uintptr_t>(_answer.data());
    const auto wanted = reinterpret_cast<uintptr_t>(at);
    const bool isInside =
        wanted >= begin && wanted - begin <= _answer.size() && count <= (_answer.size() - (wanted - begin)) / size;
    if (count != 0 && !isInside) _isGood = false;
    return count != 0 && isInside ? _answer.data() + (wanted - begin) : nullptr;
  }

  const std::span<const unsigned char> _answer;
  bool _isGood = true;
};

}  // namespace

CkxTokenAttributeRequest::CkxTokenAttributeRequest(const SkxTokenAttribute& attribute, EkxTokenOperation operation)
    : _name(attribute.name), _operation(operation) {
  if (attribute.type == KxTokenUInt64 || attribute.type == KxTokenInt64 || attribute.type == KxTokenBoolean) {
    for (const SkxTokenAttribute::Value& value : attribute.values) _numbers.push_back(value.number);
  }
  const auto nameBytes = static_cast<uint16_t>(_name.size() * sizeof(WCHAR));
  _attribute.name = {nameBytes, nameBytes, _name.data()};
  _attribute.type = attribute.type;
  _attribute.flags = attribute.flags;
  _attribute.valueCount = static_cast<uint32_t>(_numbers.size());
  _attribute.values = _numbers.empty() ? nullptr : _numbers.data();
  _list = {SkxTokenListRecord::kVersion, 0, 1, &_attribute};
  _request = {&_list, &_operation};
}

std::optional<std::vector<SkxTokenAttribute>> KxTokenAttributes_Read(std::span<const unsigned char> answer) {
  AnswerReader reader(answer);
  const std::vector<SkxTokenListRecord> list = reader.Records<SkxTokenListRecord>(answer.data(), 1);
  if (list.empty() || list[0].version != SkxTokenListRecord::kVersion) return std::nullopt;
  std::vector<SkxTokenAttribute> attributes;
  for (const auto& record : reader.Records<SkxTokenAttributeRecord>(list[0].attributes, list[0].count)) {
    attributes.push_back(reader.Attribute(record));
  }
  return reader.IsGood() ? std::optional(std::move(attributes)) : std::nullopt;
}
