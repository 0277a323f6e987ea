// Input: four bytes of rights, a byte that selects for whom, then a security descriptor as the system keeps it. What
// takes a grant must have its list whole behind the new entry, and takes another one in the same way.
#include <algorithm>
#include <cstdlib>

#include "Common_CPP/file/access_list.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

using AccessBytes = std::vector<unsigned char>;

constexpr size_t kListAt = 20;  // of a descriptor that we make
constexpr size_t kFirstEntryAt = kListAt + 8;

void Require(bool condition) {
  if (!condition) std::abort();
}

CkxSid UserOf(unsigned char selector) {
  constexpr const char* kUsers[] = {"S-1-5-18", "S-1-5-32-544", "S-1-5-21-1-2-3-1001",
                                    "S-1-5-21-1-2-3-4-5-6-7-8-9-10-11-12-13-14"};
  return CkxSid::FromUtf8(kUsers[selector % std::size(kUsers)]).value();
}

size_t ListBytes(const AccessBytes& descriptor) { return KxBytes_U16(descriptor, kListAt + 2); }
uint16_t EntryCount(const AccessBytes& descriptor) { return KxBytes_U16(descriptor, kListAt + 4); }

/// The entry in front of all others: that `user` has `rights`.
void RequireGrant(const AccessBytes& made, const CkxSid& user, uint32_t rights) {
  const size_t entryBytes = 8 + user.Size();
  Require(made.size() == kListAt + ListBytes(made) && ListBytes(made) >= 8 + entryBytes);
  Require(KxBytes_U32(made, 16) == kListAt && EntryCount(made) > 0);
  Require(KxBytes_U16(made, kFirstEntryAt) == 0);  // allows, and nobody inherits it
  Require(KxBytes_U16(made, kFirstEntryAt + 2) == entryBytes && KxBytes_U32(made, kFirstEntryAt + 4) == rights);
  Require(std::equal(user.Bytes(), user.Bytes() + user.Size(), made.begin() + kFirstEntryAt + 8));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  constexpr size_t kHead = 5;
  if (size < kHead) return 0;
  const uint32_t rights = KxBytes_Load<uint32_t>(data);
  const CkxSid user = UserOf(data[4]);
  const AccessBytes descriptor(data + kHead, data + size);  // its own, so that reads beyond show

  AccessBytes kept = descriptor;
  KxAccessList_KeepInheriting(kept);
  Require(kept.size() == descriptor.size());
  for (size_t at = 0; at < kept.size(); ++at) Require(kept[at] == descriptor[at] || at == 3);  // the mark is there

  const std::optional<AccessBytes> once = KxAccessList_WithGrant(descriptor, user, rights);
  if (!once) return 0;
  RequireGrant(*once, user, rights);
  Require(std::search(descriptor.begin(), descriptor.end(),
                      once->begin() + static_cast<ptrdiff_t>(kFirstEntryAt + 8 + user.Size()),
                      once->end()) != descriptor.end() ||
          EntryCount(*once) == 1);

  const std::optional<AccessBytes> twice = KxAccessList_WithGrant(*once, user, rights);
  if (!twice) return 0;  // full
  RequireGrant(*twice, user, rights);
  Require(EntryCount(*twice) == EntryCount(*once) + 1);
  Require(std::equal(once->begin() + kFirstEntryAt, once->end(),
                     twice->end() - static_cast<ptrdiff_t>(once->size() - kFirstEntryAt)));
  return 0;
}
