// Input: flags (bits 0 to 5: how SIDs count, two bits in turn; bit 6: the system owns it; bit 7: two bytes a unit of
// text), four bytes of wanted access, then the text. What reads as a descriptor is asked about, and the answer must be
// that of the walk by hand.
#include <algorithm>
#include <cstdlib>

#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/naive_access_check.h"

namespace {

constexpr SkxGenericMapping kMapping = {0x20001, 0x20002, 0x20004, 0xF0007};

void Require(bool holds) {
  if (!holds) std::abort();
}

KxWString Units(const unsigned char* data, size_t size, bool wide) {
  KxWString text;
  for (const size_t bytes = wide ? 2 : 1; size >= bytes; data += bytes, size -= bytes) {
    text += static_cast<WCHAR>(wide ? data[0] | data[1] << 8 : data[0]);
  }
  return text;
}

bool IsSame(const SkxAce& a, const SkxAce& b) {
  return a.type == b.type && a.flags == b.flags && a.mask == b.mask && a.sid.Equals(b.sid);
}

/// Blanks around a descriptor say nothing.
void CompareWithBlanks(const KxWString& text, const SkxSecurityDescriptor& descriptor) {
  SkxSecurityDescriptor other;
  Require(KxSddl_Parse(KXW(" ") + text + KXW("  "), other).IsOk());
  Require(other.dacl == descriptor.dacl);
  Require(std::equal(other.aces.begin(), other.aces.end(), descriptor.aces.begin(), descriptor.aces.end(), IsSame));
}

/// The SIDs of the descriptor, each counting as the next two bits say.
CkxSidList SidsOf(const SkxSecurityDescriptor& descriptor, unsigned bits) {
  constexpr EkxSidUse kUses[] = {EkxSidUse::None, EkxSidUse::DenyOnly, EkxSidUse::Enabled, EkxSidUse::Enabled};
  constexpr size_t kMost = 16;
  CkxSidList sids;
  const auto add = [&](const CkxSid& sid) {
    if (sids.entries.size() < kMost) sids.entries.push_back({sid, kUses[bits >> 2 * (sids.entries.size() % 3) & 3]});
  };
  add(descriptor.owner);
  for (const SkxAce& ace : descriptor.aces) add(ace.sid);
  return sids;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  constexpr size_t kHead = 5;
  constexpr size_t kMostAces = 64;  // the walk by hand takes its time
  if (size < kHead) return 0;
  const unsigned flags = data[0];
  const uint32_t desired = KxBytes_Load<uint32_t>(data + 1) & 0x0FFFFFFF;
  const KxWString text = Units(data + kHead, size - kHead, (flags & 0x80) != 0);

  SkxSecurityDescriptor descriptor;
  const SkxSddlStatus status = KxSddl_Parse(text, descriptor);
  Require(status.offset <= text.size());
  if (!status.IsOk()) {
    Require(descriptor.dacl == EkxDacl::Absent && descriptor.aces.empty());
    return 0;
  }
  CompareWithBlanks(text, descriptor);
  if (descriptor.aces.size() > kMostAces) return 0;

  if ((flags & 0x40) != 0) descriptor.owner = descriptor.group = CkxSid::FromUtf8("S-1-5-18").value();
  const CkxSidList sids = SidsOf(descriptor, flags);
  uint32_t granted = 0;
  const EkxAccess answer = KxAccess_Check(descriptor, sids, desired, kMapping, &granted);
  const bool isWhole = descriptor.owner.IsValid() && descriptor.group.IsValid();
  Require((answer == EkxAccess::NoOwnerOrGroup) != isWhole);
  if (isWhole) Require(granted == KxTest_NaiveGranted(descriptor, sids, desired, kMapping));
  return 0;
}
