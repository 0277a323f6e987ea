// The records in which the system takes and gives the security attributes of a token, of version 1, on a system of 64
// bits:
//
//   list       u16 version, u16 reserved, u32 count, attributes                                              16 bytes
//   attribute  name, u16 type, u16 reserved, u32 flags, u32 count of values, (4), values                      40 bytes
//   values     numbers and booleans: u64 each; texts: name each; programs: u64 version, name; SIDs and octet strings:
//              bytes, u32 their count, (4)
//   name       u16 bytes, u16 bytes of room, (4), units, which need no terminator                             16 bytes
//   request    list, u32 operations, one an attribute                                                         16 bytes
//
// What the system gives is in one buffer, its pointers into that buffer.
#pragma once

#include <optional>
#include <span>

#include "Common_CPP/access_token/token_attribute.h"

struct SkxTokenNameRecord {
  uint16_t bytes;
  uint16_t room;
  const WCHAR* units;
};
static_assert(sizeof(SkxTokenNameRecord) == 16);

struct SkxTokenAttributeRecord {
  SkxTokenNameRecord name;
  uint16_t type;
  uint16_t reserved;
  uint32_t flags;
  uint32_t valueCount;
  const void* values;
};
static_assert(sizeof(SkxTokenAttributeRecord) == 40 && offsetof(SkxTokenAttributeRecord, values) == 32);

struct SkxTokenProgramRecord {
  uint64_t version;
  SkxTokenNameRecord name;
};
static_assert(sizeof(SkxTokenProgramRecord) == 24);

struct SkxTokenBytesRecord {
  const void* bytes;
  uint32_t count;
};
static_assert(sizeof(SkxTokenBytesRecord) == 16);

struct SkxTokenListRecord {
  static constexpr uint16_t kVersion = 1;

  uint16_t version;
  uint16_t reserved;
  uint32_t count;
  const SkxTokenAttributeRecord* attributes;
};
static_assert(sizeof(SkxTokenListRecord) == 16);

enum EkxTokenOperation : uint32_t {
  KxTokenOperationNone = 0,
  KxTokenReplaceAll = 1,
  KxTokenAdd = 2,
  KxTokenDelete = 3,
  KxTokenReplace = 4
};

struct SkxTokenRequestRecord {
  const SkxTokenListRecord* list;
  const uint32_t* operations;
};
static_assert(sizeof(SkxTokenRequestRecord) == 16);

/// One attribute of 64-bit numbers with what is to be done with it, as the system takes it. The numbers of any other
/// type are not written; to delete, none are needed.
class CkxTokenAttributeRequest {
 public:
  CkxTokenAttributeRequest(const SkxTokenAttribute& attribute, EkxTokenOperation operation);
  CkxTokenAttributeRequest(const CkxTokenAttributeRequest&) = delete;
  CkxTokenAttributeRequest& operator=(const CkxTokenAttributeRequest&) = delete;

  const SkxTokenRequestRecord& Record() const { return _request; }

 private:
  const KxWString _name;
  std::vector<uint64_t> _numbers;
  SkxTokenAttributeRecord _attribute = {};
  SkxTokenListRecord _list = {};
  uint32_t _operation;
  SkxTokenRequestRecord _request = {};
};

/// The attributes of a list that lies at the start of `answer`, 8-byte aligned; nothing when a version, a count or a
/// pointer is not as it must be. Of values of a type that nobody knows there are only as many, empty.
std::optional<std::vector<SkxTokenAttribute>> KxTokenAttributes_Read(std::span<const unsigned char> answer);
