// Policies into the live sections, where every process on this machine reads them, and out again.
//
//   CkxPolicyPublication publication;
//   std::string error;
//   if (!publication.Publish(image, error)) ...
//
// The index section never changes its name; the data sections have new names in each publication:
//
//   Global\KxPoliciesIndexSection    three slots of 128 bytes: policies, application groups, alerts
//   Global\KxPubNNNN-Policies        NNNN is new each time; it lies in one aligned word of eight bytes of the slot,
//   Global\KxPubNNNN-AppGroups       and in an index it is all that ever differs from another publication's, but for
//   Global\KxPubNNNN-Alerts          the slot's first word, which is 0 where a section is not published
//
// The data sections are whole before the index names them. The index is replaced at once where the system can do that;
// where it is rewritten in place (Windows), slot by slot, the policies last, and of a slot the first word last, so that
// a reader finds a name whole or none. The sections of the publication before stay until the next one, for readers that
// have just read the index; a reader that comes even later finds the name gone and reads the index again.
//
// On Windows a publication lives as long as the object, elsewhere until it is taken out by anyone who may: what a
// publisher that was killed left half done is cleaned up by the next.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Common_CPP/notice/named_notice.h"
#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"

/// Used by one thread at a time. From the first operation to `Unpublish`, or to its end, no other publisher on this
/// machine can do anything.
class CkxPolicyPublication {
 public:
  /// `nameSpace` begins every name, and is another one than "Global\" for tests only.
  explicit CkxPolicyPublication(CkxTextView nameSpace = KXW("Global\\"));

  /// Replaces what is published, and tells everyone who waits for it. False with one line in `error`; what was
  /// published before then still is.
  bool Publish(const SkxPolicyImage& image, std::string& error);

  /// `Publish` in two steps. The first makes the sections, whom nobody knows yet, and takes its time; the second puts
  /// them in force, and takes none.
  bool Prepare(const SkxPolicyImage& image, std::string& error);
  bool Commit(std::string& error);

  /// What the names of the sections that were prepared last begin with, "Global\KxPub3F7A".
  std::string NextName() const;

  /// Takes out whatever is published, by this object or by a publisher that is gone, and tells everyone.
  bool Unpublish(std::string& error);

 private:
  static constexpr size_t kSectionCount = 3;
  using Sections = std::array<CkxSharedMemoryPublication, kSectionCount>;
  using Index = std::array<unsigned char, kSectionCount * 128>;

  bool Lock(std::string& error);
  KxWString NumberedName(uint32_t number) const;
  KxWString SectionName(uint32_t number, EkxPolicySection which) const;

  /// False when the index is there and cannot be read.
  bool NamesInIndex(std::vector<KxWString>& names) const;

  /// Takes away the sections that are not in force yet.
  void TellOfIt() noexcept;
  void Forget(Sections& sections);

  /// Makes the sections of `image` under names that nobody has, and the index that names them.
  bool MakeSections(const SkxPolicyImage& image, Sections& made, Index& index, std::string& error);
  bool MakeNumbered(const SkxPolicyImage& image, uint32_t number, Sections& made, Index& index, std::string& error);

  const KxWString _nameSpace;
  const KxWString _sectionPrefix;  // of every data section's name, up to the number
  const KxWString _indexName;
  uint32_t _number;  // that was given last
  CkxPublisherLock _lock;
  CkxSharedMemoryPublication _index;
  Sections _next;  // prepared, and their index
  Index _nextIndex{};
  Sections _current;
  Sections _previous;
  CkxNoticeSender _notice;
};
