#include "Agent/engine/kx_publish/service/publication.h"

#include <random>
#include <utility>

#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr EkxPolicySection kSections[] = {EkxPolicySection::Policies, EkxPolicySection::AppGroups,
                                          EkxPolicySection::Alerts};
constexpr KxWStringView kSuffixes[] = {KXW("-Policies"), KXW("-AppGroups"), KXW("-Alerts")};

constexpr uint32_t kErrorBusy = 170;
constexpr uint32_t kErrorAlreadyExists = 183;

constexpr size_t kWordBytes = 8;  // what is read and written at once
constexpr size_t kNumberUnits = kWordBytes / sizeof(WCHAR);
constexpr KxWStringView kDigits = KXW("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
constexpr uint32_t kNumbers = 36 * 36 * 36 * 36;

/// What stands before the number, filled up so that the number has a word of its own.
KxWString SectionPrefix(CkxTextView nameSpace) {
  KxWString prefix = nameSpace.ToString() + KXW("KxPub");
  prefix.resize((prefix.size() + kNumberUnits - 1) / kNumberUnits * kNumberUnits, KXW('-'));
  return prefix;
}

std::string Line(CkxTextView name, const char* what) {
  return KxText_ToUtf8(name) + ": " + what + ": " + KxError_Words();
}

}  // namespace

CkxPolicyPublication::CkxPolicyPublication(CkxTextView nameSpace)
    : _nameSpace(nameSpace.ToString()),
      _sectionPrefix(SectionPrefix(nameSpace)),
      _indexName(_nameSpace + KXW("KxPoliciesIndexSection")),
      _number(std::random_device()() % kNumbers),  // elsewhere than a publisher before, whose names are still known
      _notice(_nameSpace + KXW("ZOR_PoliciesUpdatedEvent")) {}

bool CkxPolicyPublication::Publish(const SkxPolicyImage& image, std::string& error) {
  return Prepare(image, error) && Commit(error);
}

bool CkxPolicyPublication::Prepare(const SkxPolicyImage& image, std::string& error) {
  if (!Lock(error)) return false;
  Forget(_next);
  _previous = {};
  // An index that cannot be read just now may still name sections.
  if (std::vector<KxWString> kept; NamesInIndex(kept)) KxSharedMemory_RemoveLeftBehind(_sectionPrefix, kept);

  _nextIndex = {};
  return MakeSections(image, _next, _nextIndex, error);
}

bool CkxPolicyPublication::Commit(std::string& error) {
  if (!_index.Publish(_indexName, _nextIndex)) {
    error = Line(_indexName, "cannot be published");
    Forget(_next);
    return false;
  }
  // From here on it is in force, and nothing may fail.
  _previous = std::move(_current);
  _current = std::exchange(_next, {});
  TellOfIt();
  return true;
}

void CkxPolicyPublication::TellOfIt() noexcept {
  try {
    if (_notice.Signal()) return;
  } catch (const std::bad_alloc&) {  // as when it cannot be told for another reason
  }
  KxTrace(EkxTraceLevel::Warning, "CkxPolicyPublication",
          "Nobody was told of the publication. LastError=", KxLastError_Get());
}

void CkxPolicyPublication::Forget(Sections& sections) {
  for (CkxSharedMemoryPublication& section : sections) section.Remove();
}

bool CkxPolicyPublication::Unpublish(std::string& error) {
  if (!Lock(error)) return false;
  Forget(_next);
  // Emptied before it is removed: on Windows a reader that has it open keeps it for others.
  CkxSharedMemoryView index;
  if (index.Open(_indexName)) _index.Publish(_indexName, Index{});
  index.Close();
  _index.Remove();
  if (!KxSharedMemory_Remove(_indexName)) {
    error = Line(_indexName, "cannot be removed");
    return false;
  }
  _current = {};
  _previous = {};
  KxSharedMemory_RemoveLeftBehind(_sectionPrefix, {});
  _notice.Withdraw();
  _lock.Release();
  return true;
}

bool CkxPolicyPublication::Lock(std::string& error) {
  const KxWString name = _nameSpace + KXW("KxPoliciesPublisher");
  if (_lock.IsHeld() || _lock.Acquire(name)) return true;
  error = KxLastError_Get() == kErrorBusy ? KxText_ToUtf8(name) + ": another publisher is at work"
                                          : Line(name, "cannot be made");
  return false;
}

std::string CkxPolicyPublication::NextName() const { return KxText_ToUtf8(NumberedName(_number)); }

KxWString CkxPolicyPublication::NumberedName(uint32_t number) const {
  KxWString digits(kNumberUnits, KXW('0'));
  for (size_t at = kNumberUnits; at != 0; number /= 36) digits[--at] = kDigits[number % 36];
  return _sectionPrefix + digits;
}

KxWString CkxPolicyPublication::SectionName(uint32_t number, EkxPolicySection which) const {
  return NumberedName(number).append(kSuffixes[static_cast<size_t>(which)]);
}

bool CkxPolicyPublication::NamesInIndex(std::vector<KxWString>& names) const {
  for (const EkxPolicySection which : kSections) {
    KxLastError_Set(kKxErrorFileNotFound);
    names.push_back(KxPolicyIndex_SectionName(_indexName, which));
    if (names.back().empty() && KxLastError_Get() != kKxErrorFileNotFound) return false;
  }
  return true;
}

bool CkxPolicyPublication::MakeSections(const SkxPolicyImage& image, Sections& made, Index& index, std::string& error) {
  // A reader may still have what a publisher before has made under the next number.
  for (int attempt = 0; attempt < 100; ++attempt) {
    _number = (_number + 1) % kNumbers;
    if (MakeNumbered(image, _number, made, index, error)) return true;
    const uint32_t lastError = KxLastError_Get();
    Forget(made);
    if (lastError != kErrorAlreadyExists) break;
  }
  return false;
}

bool CkxPolicyPublication::MakeNumbered(const SkxPolicyImage& image, uint32_t number, Sections& made, Index& index,
                                        std::string& error) {
  constexpr size_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
  static_assert(sizeof(Index) == kSectionCount * kSlotBytes);
  for (size_t i = 0; i < kSectionCount; ++i) {
    const KxWString name = SectionName(number, kSections[i]);
    if (name.size() >= kKxIndexSlotUnits) {
      error = KxText_ToUtf8(name) + ": too long for the index";
      KxLastError_Set(kKxErrorGenFailure);
      return false;
    }
    std::memcpy(index.data() + i * kSlotBytes, name.data(), name.size() * sizeof(WCHAR));
    const std::optional<SkxPolicyImage::Bytes>& bytes = image.Section(kSections[i]);
    if (!bytes.has_value()) {
      std::memset(index.data() + i * kSlotBytes, 0, kWordBytes);
    } else if (!made[i].PublishNew(name, *bytes)) {
      error = Line(name, "cannot be published");
      return false;
    }
  }
  return true;
}
