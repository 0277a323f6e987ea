// Target descriptions: one object for the thing that is about to run, be installed or be elevated.
//
// Matchers never ask what kind it is beyond five yes-or-no questions: they take one of the provider interfaces and
// match against its answers. A fact that costs something is fetched once per description and kept as text under a key;
// one that turned out not to exist is remembered as missing and not sought again. A description belongs to one thread
// at a time.
#pragma once

#include <kx_util/policy_codes.h>
#include <kx_util/target_providers.h>

#include <memory>
#include <vector>

class CkxTargetInfoFile;
class CkxTargetInfoProcess;
struct CkxConsentData;

/// The description of what is about to run, or is asked about.
class KX_UTIL_API CkxTargetInfo {
 public:
  /// `userToken` is the token of the user on whose behalf the target runs: not owned, null means the caller's own.
  /// `flag` is stored unchanged for the kinds.
  CkxTargetInfo(void* userToken, bool flag);
  CkxTargetInfo(const CkxTargetInfo&) = delete;
  CkxTargetInfo& operator=(const CkxTargetInfo&) = delete;

  virtual ~CkxTargetInfo();
  virtual bool IsTargetInfoElevator() const { return false; }
  virtual bool IsTargetInfoActiveX() const { return false; }
  virtual bool IsTargetInfoFile() const { return false; }
  virtual bool IsTargetInfoProcess() const { return false; }
  virtual bool IsTargetInfoUacCOM() const { return false; }
  virtual const IkxPathProvider* QueryPathProvider() const { return nullptr; }
  virtual const IkxHashProvider* QueryHashProvider() const { return nullptr; }
  virtual const IkxPublisherProvider* QueryPublisherProvider() const { return nullptr; }
  virtual const IkxOwnerProvider* QueryOwnerProvider() const { return nullptr; }
  virtual const IkxVersionInfoProvider* QueryVersionInfoProvider() const { return nullptr; }
  virtual EkxPolicyTarget TargetType() const = 0;

  /// What the launch is really about; for a process that only carries something else, that something.
  virtual const CkxTargetInfo& GetEffectiveTarget() const { return *this; }

 protected:
  /// What an alert and an event call the thing.
  virtual void _GetDescriptionForAlert(CkxUtilStr& text) const = 0;
  virtual void _GetDescriptionForEvent(CkxUtilStr& text) const = 0;

  /// The value cache. Keys are compared exactly and searched from the front; a description has few of them. Nothing is
  /// kept once a fault is noted: a value that could not be had for want of memory is not missing.
  virtual const WCHAR* _GetFromCache(const WCHAR* key) const;
  virtual bool _IsMissingValue(const WCHAR* key) const;
  virtual void _SaveToCache(const WCHAR* key, const CkxUtilStr& value) const;
  virtual void _RemoveFromCache(const WCHAR* key) const;
  virtual void _SetMissingValue(const WCHAR* key) const;

 public:
  void* UserToken() const { return _userToken; }
  bool ConstructionFlag() const { return _flag; }
  bool OnDemandElevationRequested() const { return _onDemandElevationRequested; }
  void SetOnDemandElevationRequested(bool requested) { _onDemandElevationRequested = requested; }
  bool IsLocalCopySource() const { return _localCopySource; }
  void SetLocalCopySource(bool is) { _localCopySource = is; }
  bool IsTargetType(EkxPolicyTarget type) const { return TargetType() == type; }

  /// A number that no other description of this process has or had, and that changes when what belongs to the
  /// description does: answers about it can be remembered by it.
  uint64_t Identity() const { return _identity; }

  /// The memory was short when the description was made, so that it lacks what it was made from. No question about it
  /// has an answer: evaluations end with the fault.
  bool IsIncomplete() const { return _isIncomplete; }

  /// What descriptions call the thing instead of what its file says. Null until set; the setter keeps a copy of its
  /// own.
  const WCHAR* GetDescriptionBase() const { return _descriptionBase; }
  void SetDescriptionBase(const WCHAR* text);

  /// The texts for alerts and events, made once: one line each.
  const WCHAR* GetDescriptionForAlert() const;
  const WCHAR* GetDescriptionForEvent() const;

  /// The description that a consent request carries; null with an error line for a kind that has none.
  static CkxTargetInfo* CreateFromConsentData(const CkxConsentData& consent, unsigned long pid);

  /// Destroys a description that the library made, so that both happen on one side.
  static void Delete(CkxTargetInfo* target);

  /// A new copy of `path` (freed with `_Free`), in which a mapped drive as `token` sees it is replaced by its UNC form.
  static const WCHAR* _MappedPathToUncStrDup(void* token, const WCHAR* path);
  static const WCHAR* _StrDup(const WCHAR* text);  ///< null stays null
  static void _Free(const WCHAR*& text);           ///< also sets it to null

 protected:
  /// The one way in which a costly text is fetched: from the cache; else, unless known to be missing, computed and
  /// kept, or marked missing. `compute(CkxUtilStr&)` returns false when there is no such value.
  template <class Compute>
  const WCHAR* _Cached(const WCHAR* key, Compute compute) const {
    if (const WCHAR* known = _GetFromCache(key)) return known;
    if (_IsMissingValue(key)) return nullptr;
    CkxUtilStr value;
    if (!compute(value)) {
      _SetMissingValue(key);
      return nullptr;
    }
    _SaveToCache(key, value);
    return _GetFromCache(key);
  }

  void _Clean();

  /// What belongs to the description changed.
  void _RenewIdentity();

  void _SetIncomplete() { _isIncomplete = true; }

 private:
  struct ValueCache;
  struct MissingValues;

  const WCHAR* _Description(const WCHAR* key, void (CkxTargetInfo::*describe)(CkxUtilStr&) const) const;

  void* const _userToken;
  const bool _flag;
  bool _onDemandElevationRequested = false;
  bool _localCopySource = false;
  mutable ValueCache* _cache = nullptr;
  mutable MissingValues* _missing = nullptr;
  const WCHAR* _descriptionBase = nullptr;
  uint64_t _identity;
  bool _isIncomplete = false;
};

/// For a pointer that owns a description.
struct SkxTargetDeleter {
  void operator()(CkxTargetInfo* target) const { CkxTargetInfo::Delete(target); }
};

/// Owns a description.
using CkxTargetInfoPtr = std::unique_ptr<CkxTargetInfo, SkxTargetDeleter>;

/// What a consent prompt asks about.
struct CkxConsentData {
  enum class Kind : uint32_t { Executable = 0, Com = 1, Msi = 2, ActiveX = 3, PackagedApp = 5 };
  Kind kind = Kind::Executable;
  const WCHAR* path = nullptr;         ///< the program, the package or the server of the COM object or control; of a
                                       ///< server also null: then what this machine has registered for the class
  const WCHAR* commandLine = nullptr;  ///< of the program
  const WCHAR* url = nullptr;          ///< where an ActiveX control is installed from
  const WCHAR* classId = nullptr;      ///< of the COM object or control, "{...}"
  void* userToken = nullptr;
};

/// The process description that `target` carries for the kind `type`: itself, or its linked target. False with a null
/// `out` when there is none. What is found may be changed where the caller may change `target`, and only there.
KX_UTIL_API bool KxUtil_GetProcTargetOfType(const CkxTargetInfo& target, EkxPolicyTarget type,
                                            CkxTargetInfoProcess*& out);

/// The same for a file; `process` stays null for a plain file.
KX_UTIL_API bool KxUtil_GetFileProcTargetsOfType(const CkxTargetInfo& target, EkxPolicyTarget type,
                                                 CkxTargetInfoFile*& file, CkxTargetInfoProcess*& process);
