#include "Common_CPP/file/ea_record.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"

namespace {

using EaBytes = std::span<const unsigned char>;

/// By character: whether a name may have it. ASCII from the blank on, without what file systems give a meaning.
constexpr std::array<bool, 256> kMayBeInEaName = [] {
  std::array<bool, 256> may{};
  for (size_t code = 0x20; code < 0x80; ++code) may[code] = true;
  for (const char forbidden : std::string_view("\\/:*?\"<>|,+=[];")) may[static_cast<unsigned char>(forbidden)] = false;
  return may;
}();
constexpr std::string_view kKernelEaPrefix = "$KERNEL.";
constexpr size_t kEaQueryNameAt = 5;

constexpr size_t RoundedUpTo4(size_t bytes) { return (bytes + 3) & ~size_t{3}; }

std::string_view EaText(const unsigned char* bytes, size_t count) {
  return {reinterpret_cast<const char*>(bytes), count};
}

char EaUpper(char character) {
  return static_cast<char>(character >= 'a' && character <= 'z' ? character - 0x20 : character);
}

template <class Number>
void PutEa(std::vector<unsigned char>& bytes, Number number) {
  const size_t at = bytes.size();
  bytes.resize(at + sizeof(number));
  std::memcpy(bytes.data() + at, &number, sizeof(number));
}

void PutEaText(std::vector<unsigned char>& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.push_back(0);
}

/// The next record lies behind this one, on 4 bytes, and has room for a header.
bool IsNextEaWithin(uint32_t next, size_t recordBytes, size_t all) {
  return next % 4 == 0 && next >= recordBytes && next <= all && all - next >= kKxEaHeaderBytes;
}

}  // namespace

std::optional<SkxEaRecord> KxEaRecord_Read(std::span<const unsigned char> bytes) {
  const unsigned char* cursor = bytes.data();
  auto remaining = static_cast<unsigned long>(bytes.size());
  CkxByteCursor in(cursor, remaining);
  SkxEaRecord record;
  uint8_t nameBytes = 0;
  uint16_t valueBytes = 0;
  const unsigned char* name = nullptr;
  const unsigned char* value = nullptr;
  const bool isWhole = in.U32(record.next) && in.U8(record.flags) && in.U8(nameBytes) && in.U16(valueBytes) &&
                       in.Bytes(size_t{nameBytes} + 1, name) && in.Bytes(valueBytes, value);
  if (!isWhole || nameBytes == 0 || EaText(name, size_t{nameBytes} + 1).find('\0') != nameBytes) return std::nullopt;
  record.name = EaText(name, nameBytes);
  record.value = EaBytes(value, valueBytes);
  return record;
}

bool KxEaList_IsWellFormed(std::span<const unsigned char> bytes) {
  for (;;) {
    const std::optional<SkxEaRecord> record = KxEaRecord_Read(bytes);
    if (!record) return false;
    if (record->next == 0) return true;
    if (!IsNextEaWithin(record->next, record->Size(), bytes.size())) return false;
    bytes = bytes.subspan(record->next);
  }
}

size_t KxEaList_Append(std::vector<unsigned char>& list, size_t last, const SkxEaRecord& record) {
  const size_t at = RoundedUpTo4(list.size());
  list.reserve(at + record.Size());
  list.resize(at);
  if (at != 0) {
    const auto distance = static_cast<uint32_t>(at - last);
    std::memcpy(list.data() + last, &distance, sizeof(distance));
  }
  PutEa(list, uint32_t{0});
  PutEa(list, record.flags);
  PutEa(list, static_cast<uint8_t>(record.name.size()));
  PutEa(list, static_cast<uint16_t>(record.value.size()));
  PutEaText(list, record.name);
  list.insert(list.end(), record.value.begin(), record.value.end());
  return at;
}

std::vector<unsigned char> KxEaQuery_Of(std::string_view name) {
  std::vector<unsigned char> query;
  query.reserve(kEaQueryNameAt + name.size() + 1);
  PutEa(query, uint32_t{0});
  PutEa(query, static_cast<uint8_t>(name.size()));
  PutEaText(query, name);
  return query;
}

std::optional<std::string_view> KxEaQuery_Name(std::span<const unsigned char> query) {
  if (query.size() < kEaQueryNameAt + 1 || KxBytes_U32(query, 0) != 0) return std::nullopt;
  const size_t nameBytes = query[4];
  if (nameBytes == 0 || query.size() - kEaQueryNameAt < nameBytes + 1) return std::nullopt;
  const std::string_view name = EaText(query.data() + kEaQueryNameAt, nameBytes + 1);
  if (name.find('\0') != nameBytes) return std::nullopt;
  return name.substr(0, nameBytes);
}

bool KxEaName_IsValidChar(char character) { return kMayBeInEaName[static_cast<unsigned char>(character)]; }

bool KxEaName_IsValid(std::string_view name) {
  return !name.empty() && name.size() <= kKxEaMaxNameBytes &&
         std::all_of(name.begin(), name.end(), KxEaName_IsValidChar);
}

std::string KxEaName_Upper(std::string_view name) {
  std::string upper(name);
  std::transform(upper.begin(), upper.end(), upper.begin(), EaUpper);
  return upper;
}

bool KxEaName_Equals(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return EaUpper(x) == EaUpper(y); });
}

bool KxEaName_IsKernel(std::string_view name) {
  return KxEaName_Equals(name.substr(0, kKernelEaPrefix.size()), kKernelEaPrefix);
}
