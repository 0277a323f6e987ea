#include <kx_util/target_info.h>

#include <algorithm>
#include <atomic>
#include <list>

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include "Agent/engine/kx_util/buffer/record_memory.h"
#include "Agent/engine/kx_util/target/com_server.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

// A list, so that a text that was handed out stays where it is when others are added.
struct CkxTargetInfo::ValueCache {
  struct Entry {
    KxWString key;
    CkxUtilStr value;
  };
  std::list<Entry> entries;

  auto Find(CkxTextView key) {
    if (!KxWork_Spend(entries.size())) return entries.end();
    return std::find_if(entries.begin(), entries.end(),
                        [key](const Entry& entry) { return KxText_Equals(entry.key, key, true); });
  }
};

struct CkxTargetInfo::MissingValues {
  std::vector<KxWString> keys;

  bool Has(CkxTextView key) const {
    return !KxWork_Spend(keys.size()) || std::any_of(keys.begin(), keys.end(), [key](const KxWString& known) {
      return KxText_Equals(known, key, true);
    });
  }
};

namespace {

uint64_t NewIdentity() {
  static std::atomic<uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

CkxTargetInfo::CkxTargetInfo(void* userToken, bool flag)
    : _userToken(userToken), _flag(flag), _identity(NewIdentity()) {}

void CkxTargetInfo::_RenewIdentity() { _identity = NewIdentity(); }

CkxTargetInfo::~CkxTargetInfo() { _Clean(); }

void CkxTargetInfo::_Clean() {
  delete _cache;
  _cache = nullptr;
  delete _missing;
  _missing = nullptr;
  _Free(_descriptionBase);
}

const WCHAR* CkxTargetInfo::_GetFromCache(const WCHAR* key) const {
  if (_cache == nullptr) return nullptr;
  const auto entry = _cache->Find(key);
  return entry != _cache->entries.end() ? entry->value.String() : nullptr;
}

void CkxTargetInfo::_SaveToCache(const WCHAR* key, const CkxUtilStr& value) const {
  KxEntry([&] {
    if (KxFault_Current() != EkxEvaluationFault::None) return;
    if (_cache == nullptr) _cache = new ValueCache;
    const auto old = _cache->Find(key);
    _cache->entries.push_back({key, value});  // before the old one goes, which `value` may come from
    if (old != _cache->entries.end()) _cache->entries.erase(old);
  });
}

void CkxTargetInfo::_RemoveFromCache(const WCHAR* key) const {
  if (_cache == nullptr) return;
  const auto entry = _cache->Find(key);
  if (entry != _cache->entries.end()) _cache->entries.erase(entry);
}

bool CkxTargetInfo::_IsMissingValue(const WCHAR* key) const { return _missing != nullptr && _missing->Has(key); }

void CkxTargetInfo::_SetMissingValue(const WCHAR* key) const {
  KxEntry([&] {
    if (KxFault_Current() != EkxEvaluationFault::None) return;
    if (_missing == nullptr) _missing = new MissingValues;
    if (!_missing->Has(key)) _missing->keys.emplace_back(key);
  });
}

void CkxTargetInfo::SetDescriptionBase(const WCHAR* text) {
  const WCHAR* const copy = _StrDup(text);
  if (copy == nullptr && text != nullptr) return;  // the fault is noted
  _Free(_descriptionBase);
  _descriptionBase = copy;
}

const WCHAR* CkxTargetInfo::GetDescriptionForAlert() const {
  return _Description(KXW("KxAlertDesc"), &CkxTargetInfo::_GetDescriptionForAlert);
}

const WCHAR* CkxTargetInfo::GetDescriptionForEvent() const {
  return _Description(KXW("KxEventDesc"), &CkxTargetInfo::_GetDescriptionForEvent);
}

const WCHAR* CkxTargetInfo::_Description(const WCHAR* key, void (CkxTargetInfo::*describe)(CkxUtilStr&) const) const {
  return KxEntry<const WCHAR*>(nullptr, [&] {
    if (const WCHAR* known = _GetFromCache(key)) return known;
    CkxUtilStr described;
    (this->*describe)(described);
    if (described.IsEmpty()) {
      KxTrace(EkxTraceLevel::Error, "CkxTargetInfo", "ERROR: Failed to retrieve ", key,
              ". TargetType=", static_cast<uint32_t>(TargetType()));
    }

    // Names and command lines come from outside: whatever they hold, a description stays one line.
    KxWString line = described.View().ToString();
    std::replace_if(
        line.begin(), line.end(), [](WCHAR unit) { return unit < KXW(' '); }, KXW(' '));
    _SaveToCache(key, std::move(line));
    return _GetFromCache(key);
  });
}

namespace {

SkxServerFacts ServerFactsOf(const CkxConsentData& consent) {
  return {CkxTextView(consent.classId).ToString(), CkxTextView(consent.url).ToString()};
}

template <class Target, class... Facts>
CkxTargetInfoPtr Make(Facts&&... facts) {
  return CkxTargetInfoPtr(new Target(std::forward<Facts>(facts)...));
}

/// Where the request does not name the file, this machine tells which one its class is.
template <class Target>
CkxTargetInfoPtr MakeServer(const CkxConsentData& consent, EkxComUse use) {
  std::optional<KxWString> registered;
  if (CkxTextView(consent.path).IsEmpty()) registered = KxComServer_File(consent.classId, use);
  return Make<Target>(registered ? registered->c_str() : consent.path, ServerFactsOf(consent), consent.userToken);
}

CkxTargetInfoPtr DescribeRequest(const CkxConsentData& consent, unsigned long pid) {
  switch (consent.kind) {
    case CkxConsentData::Kind::Com:
      return MakeServer<CkxTargetInfoUacCOM>(consent, EkxComUse::Elevated);
    case CkxConsentData::Kind::ActiveX: {
      CkxTargetInfoPtr control = MakeServer<CkxTargetInfoActiveX>(consent, EkxComUse::Control);
      control->SetDescriptionBase(consent.url);
      return control;
    }
    case CkxConsentData::Kind::Executable:
    case CkxConsentData::Kind::Msi:
    case CkxConsentData::Kind::PackagedApp: {
      SkxProcessFacts process;
      process.pid = static_cast<uint32_t>(pid);
      process.commandLine = CkxTextView(consent.commandLine).ToString();
      auto asked = std::make_unique<CkxTargetInfoProcess>(consent.path, std::move(process), consent.userToken);
      if (consent.kind == CkxConsentData::Kind::Msi) asked->SetTypedByName();  // a package, and not who installs it
      return CkxTargetInfoPtr(asked.release());
    }
  }
  KxTrace(EkxTraceLevel::Error, "CkxTargetInfo", "ERROR: Unexpected type: ", static_cast<uint32_t>(consent.kind));
  return nullptr;
}

}  // namespace

CkxTargetInfo* CkxTargetInfo::CreateFromConsentData(const CkxConsentData& consent, unsigned long pid) {
  return KxEntry(CkxTargetInfoPtr(), [&] { return DescribeRequest(consent, pid); }).release();
}

void CkxTargetInfo::Delete(CkxTargetInfo* target) { delete target; }

const WCHAR* CkxTargetInfo::_StrDup(const WCHAR* text) {
  if (text == nullptr) return nullptr;
  const size_t bytes = (KxWStringView(text).size() + 1) * sizeof(WCHAR);
  void* const copy = KxRecord_NotNull(::operator new(bytes, std::nothrow));
  return copy != nullptr ? static_cast<const WCHAR*>(std::memcpy(copy, text, bytes)) : nullptr;
}

void CkxTargetInfo::_Free(const WCHAR*& text) {
  ::operator delete(const_cast<WCHAR*>(text));
  text = nullptr;
}

const WCHAR* CkxTargetInfo::_MappedPathToUncStrDup(void* token, const WCHAR* path) {
  return KxEntry<const WCHAR*>(nullptr, [&] {
    const WCHAR letter = KxPath_DriveLetter(path);
    if (letter == 0) return _StrDup(path);

    const CkxTextView rest = CkxTextView(path).Part(2);
    const bool fromRoot = rest.IsEmpty() || KxPath_IsSeparator(rest.Front());  // "H:name": below a folder unknown to us
    const CkxImpersonationScope asUser(token);                                 // drives are mapped per user
    const std::optional<KxWString> share = fromRoot ? KxMachine_Facts().MappedShare(letter) : std::nullopt;
    return share ? _StrDup((*share + rest.ToString()).c_str()) : _StrDup(path);
  });
}

namespace {

// The two functions below hand out, for whoever may change it, what they were given to read: the interface has it so.

CkxTargetInfoFile* AsFile(const CkxTargetInfo* target) {
  if (target == nullptr || !target->IsTargetInfoFile()) return nullptr;
  return const_cast<CkxTargetInfoFile*>(static_cast<const CkxTargetInfoFile*>(target));
}

CkxTargetInfoProcess* AsProcess(const CkxTargetInfo* target) {
  if (target == nullptr || !target->IsTargetInfoProcess()) return nullptr;
  return const_cast<CkxTargetInfoProcess*>(static_cast<const CkxTargetInfoProcess*>(target));
}

/// The process itself when it is of that type, else what it was started for and is.
const CkxTargetInfo* OfType(const CkxTargetInfoProcess& process, EkxPolicyTarget type) {
  return process.IsTargetType(type) ? &process : static_cast<const CkxTargetInfo*>(process.LinkedOfType(type));
}

}  // namespace

bool KxUtil_GetProcTargetOfType(const CkxTargetInfo& target, EkxPolicyTarget type, CkxTargetInfoProcess*& out) {
  out = nullptr;
  if (const CkxTargetInfoProcess* const process = AsProcess(&target)) out = AsProcess(OfType(*process, type));
  return out != nullptr;
}

bool KxUtil_GetFileProcTargetsOfType(const CkxTargetInfo& target, EkxPolicyTarget type, CkxTargetInfoFile*& file,
                                     CkxTargetInfoProcess*& process) {
  file = nullptr;
  process = nullptr;
  if (const CkxTargetInfoProcess* const carrier = AsProcess(&target)) {
    file = AsFile(OfType(*carrier, type));
    process = AsProcess(file);
  } else if (target.IsTargetType(type)) {
    file = AsFile(&target);
  }
  return file != nullptr;
}
