#include "Common_CPP/file/access_list.h"

#include "Common_CPP/util/byte_cursor.h"

namespace {

using DescriptorPart = std::span<const unsigned char>;

constexpr size_t kDescriptorBytes = 20;
constexpr size_t kMarksAt = 2;
constexpr size_t kListAt = 16;
constexpr uint16_t kHasList = 0x0004;
constexpr uint16_t kInheritRequest = 0x0100;
constexpr uint16_t kInherits = 0x0400;

constexpr size_t kListHeaderBytes = 8;
constexpr size_t kMaxAclBytes = 0xFFFC;  // a length of 16 bits, on 4 bytes
constexpr size_t kEntryHeadBytes = 8;    // in front of the SID

template <class Number>
void PutAccess(std::vector<unsigned char>& bytes, Number number) {
  const auto* const first = reinterpret_cast<const unsigned char*>(&number);
  bytes.insert(bytes.end(), first, first + sizeof(number));
}

struct AccessList {
  uint8_t revision;
  uint16_t count;
  DescriptorPart entries;
};

/// Nothing where there is none, and where it does not lie in the descriptor with all of its entries.
std::optional<AccessList> AccessListOf(DescriptorPart descriptor) {
  if (descriptor.size() < kDescriptorBytes || (KxBytes_U16(descriptor, kMarksAt) & kHasList) == 0) return std::nullopt;
  const uint32_t at = KxBytes_U32(descriptor, kListAt);
  if (at < kDescriptorBytes || at > descriptor.size() || descriptor.size() - at < kListHeaderBytes) return std::nullopt;
  const DescriptorPart list = descriptor.subspan(at);
  const size_t bytes = KxBytes_U16(list, 2);
  const uint16_t count = KxBytes_U16(list, 4);
  if (bytes < kListHeaderBytes || bytes > list.size()) return std::nullopt;
  DescriptorPart left = list.subspan(kListHeaderBytes, bytes - kListHeaderBytes);
  const DescriptorPart entries = left;
  for (uint16_t entry = 0; entry < count; ++entry) {
    const size_t size = left.size() >= kEntryHeadBytes ? KxBytes_U16(left, 2) : 0;
    if (size < kEntryHeadBytes || size > left.size()) return std::nullopt;
    left = left.subspan(size);
  }
  return AccessList{list[0], count, entries.first(entries.size() - left.size())};
}

}  // namespace

std::optional<std::vector<unsigned char>> KxAccessList_WithGrant(DescriptorPart descriptor, const CkxSid& user,
                                                                 uint32_t rights) {
  const std::optional<AccessList> list = AccessListOf(descriptor);
  if (!list || list->count == UINT16_MAX) return std::nullopt;
  const size_t entryBytes = kEntryHeadBytes + user.Size();
  const size_t listBytes = kListHeaderBytes + entryBytes + list->entries.size();
  if (listBytes > kMaxAclBytes) return std::nullopt;

  std::vector<unsigned char> made(descriptor.begin(), descriptor.begin() + 4);  // revision and marks
  made.resize(kListAt);
  PutAccess(made, uint32_t{kDescriptorBytes});
  PutAccess(made, uint16_t{list->revision});
  PutAccess(made, static_cast<uint16_t>(listBytes));
  PutAccess(made, static_cast<uint16_t>(list->count + 1));
  PutAccess(made, uint16_t{0});
  PutAccess(made, uint16_t{0});  // allows, inherited by nobody
  PutAccess(made, static_cast<uint16_t>(entryBytes));
  PutAccess(made, rights);
  made.insert(made.end(), user.Bytes(), user.Bytes() + user.Size());
  made.insert(made.end(), list->entries.begin(), list->entries.end());
  KxAccessList_KeepInheriting(made);
  return made;
}

void KxAccessList_KeepInheriting(std::span<unsigned char> descriptor) {
  if (descriptor.size() < kDescriptorBytes) return;
  uint16_t marks = KxBytes_U16(descriptor, kMarksAt);
  if ((marks & kInherits) != 0) marks |= kInheritRequest;
  std::memcpy(descriptor.data() + kMarksAt, &marks, sizeof(marks));
}
