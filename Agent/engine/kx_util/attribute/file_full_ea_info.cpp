// One extended attribute as the record that the system takes and returns.
#include <kx_util/ext_file_attributes.h>

#include <cstring>
#include <new>
#include <utility>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kEaInfoScope = "CkxFileFullEaInfo";
constexpr size_t kFlagsAt = 4;
constexpr size_t kNameLengthAt = 5;
constexpr size_t kValueLengthAt = 6;

template <class... Pieces>
bool RefuseEaInfo(const Pieces&... pieces) {
  KxTrace(EkxTraceLevel::Error, kEaInfoScope, pieces...);
  return false;
}

/// A copy of the first `bytes`, alone in its list.
bool CopyOfEa(const unsigned char* record, size_t bytes, std::vector<unsigned char>& copy) {
  return KxEntry(false, [&] {
    try {
      copy.assign(record, record + bytes);
    } catch (const std::bad_alloc&) {
      KxTrace(EkxTraceLevel::Error, kEaInfoScope, "ERROR: Failed to allocate ", bytes);
      throw;
    }
    std::memset(copy.data(), 0, sizeof(uint32_t));
    return true;
  });
}

}  // namespace

CkxFileFullEaInfo::CkxFileFullEaInfo(CkxFileFullEaInfo&& other) noexcept
    : _owned(std::move(other._owned)),
      _record(std::exchange(other._record, nullptr)),
      _size(std::exchange(other._size, 0)) {
  other._owned.clear();
}

CkxFileFullEaInfo& CkxFileFullEaInfo::operator=(CkxFileFullEaInfo&& other) noexcept {
  if (this == &other) return *this;
  _owned = std::exchange(other._owned, {});
  _record = std::exchange(other._record, nullptr);
  _size = std::exchange(other._size, 0);
  return *this;
}

bool CkxFileFullEaInfo::Set(const char* name, const unsigned char* value, unsigned short valueLen,
                            unsigned char flags) {
  if (name == nullptr || *name == '\0') return RefuseEaInfo("ERROR: Name is NULL or empty");
  if (valueLen != 0 && value == nullptr) return RefuseEaInfo("ERROR: valueLen=", valueLen, " but value is NULL");
  if (!IsValidName(name)) return RefuseEaInfo("ERROR: Invalid EA name [", std::string_view(name), "]");
  const SkxEaRecord parts = {0, flags, name, {value, valueLen}};
  return KxEntry(false, [&] {
    std::vector<unsigned char> record;
    try {
      KxEaList_Append(record, 0, parts);
    } catch (const std::bad_alloc&) {
      KxTrace(EkxTraceLevel::Error, kEaInfoScope, "ERROR: Failed to allocate ", parts.Size());
      throw;
    }
    _owned = std::move(record);
    _record = _owned.data();
    _size = static_cast<uint32_t>(_owned.size());
    return true;
  });
}

bool CkxFileFullEaInfo::Set(const char* name, const char* value, unsigned char flags) {
  return _SetText(name, value, value != nullptr ? std::strlen(value) + 1 : 0, flags);
}

bool CkxFileFullEaInfo::Set(const char* name, const WCHAR* value, unsigned char flags) {
  return _SetText(name, value, value != nullptr ? (KxWStringView(value).size() + 1) * sizeof(WCHAR) : 0, flags);
}

bool CkxFileFullEaInfo::_SetText(const char* name, const void* value, size_t bytes, unsigned char flags) {
  if (bytes > kKxEaMaxValueBytes) return RefuseEaInfo("ERROR: Value string is too long: ", bytes);
  return Set(name, static_cast<const unsigned char*>(value), static_cast<unsigned short>(bytes), flags);
}

bool CkxFileFullEaInfo::CopyFrom(const unsigned char* record, unsigned long size) {
  CkxFileFullEaInfo attached;
  std::vector<unsigned char> copy;
  if (!attached.Attach(record, size) || !CopyOfEa(attached._record, attached._size, copy)) return false;
  _owned = std::move(copy);
  _record = _owned.data();
  _size = attached._size;
  return true;
}

bool CkxFileFullEaInfo::Attach(const unsigned char* record, unsigned long size) {
  const std::optional<SkxEaRecord> parts =
      record != nullptr ? KxEaRecord_Read({record, size}) : std::optional<SkxEaRecord>();
  if (!parts) return RefuseEaInfo("ERROR: Invalid EA record of ", size, " bytes");
  _owned = {};
  _record = record;
  _size = static_cast<uint32_t>(parts->Size());
  return true;
}

unsigned char CkxFileFullEaInfo::Flags() const { return _record != nullptr ? _record[kFlagsAt] : uint8_t{0}; }

const char* CkxFileFullEaInfo::Name() const {
  return _record != nullptr ? reinterpret_cast<const char*>(_record + kHeaderBytes) : nullptr;
}

unsigned char CkxFileFullEaInfo::NameLength() const { return _record != nullptr ? _record[kNameLengthAt] : uint8_t{0}; }

unsigned short CkxFileFullEaInfo::ValueLength() const {
  return _record != nullptr ? KxBytes_Load<uint16_t>(_record + kValueLengthAt) : uint16_t{0};
}

const unsigned char* CkxFileFullEaInfo::Value() const {
  return _record != nullptr ? _record + kHeaderBytes + NameLength() + 1 : nullptr;
}

bool CkxFileFullEaInfo::IsValidName(const char* name) { return name != nullptr && KxEaName_IsValid(name); }

bool CkxFileFullEaInfo::_IsValidNameChar(char character) { return KxEaName_IsValidChar(character); }
