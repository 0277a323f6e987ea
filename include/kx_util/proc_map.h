// The process map: what a program that watches processes start and end remembers of each of them.
//
// Whoever is told of processes (the agent, by its driver) tells the map, and every component of the same program can
// ask it: what the process is, which policy governs it, and what was already done for it, so that nobody does it twice.
//
//   KxUtilProcMap_OnProcessStart(pid, parentPid, parentTid, path, runPath, commandLine, sessionId);
//   KxUtilProcMap_SetPolicyData(pid, decision);
//   bool wasShown = false;
//   if (KxUtilProcMap_GetAndSetRestrDlgFlag(pid, type, wasShown) && !wasShown) ShowDialog();  // one caller alone
//   KxUtilProcMap_OnProcessEnd(pid);
//
// There is one map in a process. It begins with the first process that it is told of and lasts as long as the program;
// before that, nothing is known of any process. A process that has ended is kept for as long as one that it started
// runs, so that a child can still be judged by its parent. Numbers of processes are used again: a record is that of one
// number and one time of creation, and a start of a number that is taken ends the one before, whose end nobody told.
//
// All may be called from any thread. What is handed out is a copy; nothing points into the map. Those that return true
// or false answer false where there is no map and no such process; none throws, and without memory
// (`KxUtil_LastFault`) nothing is changed.
#pragma once

#include <kx_util/policy_result.h>
#include <kx_util/target_info_process.h>

#include <array>
#include <map>
#include <optional>

#include "Common_CPP/thread/thread_slot.h"

struct SkxProcMapPlace;

/// What a look-up found.
enum class EkxGetCachedPropRes : uint32_t {
  Found = 0,
  FoundEmpty = 1,  ///< it is known that there is no value
  NoProcess = 2,   ///< or no map
  NotStored = 3,   ///< of this process nobody has said anything yet
};

/// What access is restricted to; the codes, below `kKxRestrictedAccessTargetTypes`, are those of whoever restricts it.
enum class EkxRestrictedAccessTargetType : uint32_t {};
inline constexpr uint32_t kKxRestrictedAccessTargetTypes = 6;

/// What is remembered of one process. Times are file times, 0 for one that is not known.
struct CkxProcessData {
  /// Stands for the action of a process of which nothing is decided yet.
  static constexpr auto thePolicyDataNotInitializedAction =
      static_cast<EkxPolicyAction>(static_cast<int32_t>(0xABABABAB));

  /// One for each type of restricted target, 1 once it was set.
  using Flags = std::array<unsigned char, kKxRestrictedAccessTargetTypes>;

  /// A property without a value is one that is known to have none.
  using Props = std::map<KxWString, std::optional<CkxUtilStr>>;

  CkxProcessData() { PolicyData.ShortInfo.PolicyAction = thePolicyDataNotInitializedAction; }

  bool PolicyDataInitialized() const { return PolicyData.ShortInfo.PolicyAction != thePolicyDataNotInitializedAction; }
  size_t CachedPropCount() const { return CachedProps.size() - EmptyCachedPropCount(); }
  size_t EmptyCachedPropCount() const {
    size_t count = 0;
    for (const auto& prop : CachedProps) count += prop.second ? 0U : 1U;
    return count;
  }

  uint32_t Pid = 0;
  uint32_t SessionId = 0;
  uint32_t ParentPid = 0;
  uint32_t ParentTid = 0;      ///< the thread that started it, which may be another process's than the parent's
  uint32_t ParentPidReal = 0;  ///< the process of that thread; 0 until told
  uint32_t DrvFlags = 0;       ///< as the driver told them
  CkxUtilStr Path;
  CkxUtilStr RunPath;
  CkxUtilStr CmdLine;
  CkxUtilStr ParentSvcName;  ///< of the service that started it; empty when it was none
  CkxUtilStr ProtectedFileName;
  int64_t CreationTime = 0;
  int64_t ExitTime = 0;
  int64_t ParentCreationTime = 0;  ///< 0: the parent was not in the map when the process started
  uint32_t ChildCount = 0;         ///< processes that it started and that have not ended
  SkxProcessPolicyData PolicyData;
  uint32_t ZeroTouchState = 0;
  Flags RestrDlgFlags{};
  Flags RestrEventFlags{};
  bool IsSetupExe = false;
  Props CachedProps;
  std::optional<CkxUtilStr> Publisher;  ///< nothing: nobody has looked
  EkxPublisherStatus PublisherStatus = EkxPublisherStatus::Unknown;
};

/// A process has started. Texts may be null. Its time of creation is the system's, or that of this call when the system
/// does not know the process any more. It counts as a child of the process in the map that has the parent's number and
/// is not younger. False without memory.
KX_UTIL_API bool KxUtilProcMap_OnProcessStart(uint32_t pid, uint32_t parentPid, uint32_t parentTid, CkxTextView path,
                                              CkxTextView runPath, CkxTextView cmdLine, uint32_t sessionId,
                                              uint32_t drvFlags = 0) noexcept;

/// It has ended: forgotten, or kept while children of it run. Needs no memory.
KX_UTIL_API bool KxUtilProcMap_OnProcessEnd(uint32_t pid) noexcept;

/// Asks the system which process the parent's thread belongs to, and which service that is. When the thread is gone the
/// parent is not known, and the service is that of `parentPid`.
KX_UTIL_API bool KxUtilProcMap_UpdateParentInfo(uint32_t pid, uint32_t parentPid, uint32_t parentTid) noexcept;

/// A running process.
KX_UTIL_API bool KxUtilProcMap_FindProcessData(uint32_t pid, CkxProcessData& data) noexcept;

/// The parent of the process that `target` describes, running or not: of that number and that time of creation. Where
/// the description does not know that time, the running process of that number, unless it is younger than the child.
KX_UTIL_API bool KxUtilProcMap_FindParentProcessData(const CkxTargetInfoProcess& target, CkxProcessData& data) noexcept;

/// The decision that governs the process. `FoundEmpty` for one that says nothing (`SkxProcessPolicyData::IsEmpty`).
KX_UTIL_API bool KxUtilProcMap_SetPolicyData(uint32_t pid, const SkxProcessPolicyData& data) noexcept;
KX_UTIL_API EkxGetCachedPropRes KxUtilProcMap_GetPolicyData(uint32_t pid, SkxProcessPolicyData& data) noexcept;

/// Bits are only ever added.
KX_UTIL_API bool KxUtilProcMap_AddZeroTouchState(uint32_t pid, uint32_t bits) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetZeroTouchState(uint32_t pid, uint32_t& state) noexcept;

/// `NotStored` when neither the path nor the command line is known. Texts that are handed out are emptied first.
KX_UTIL_API EkxGetCachedPropRes KxUtilProcMap_GetImagePath(uint32_t pid, CkxUtilStr& path) noexcept;
KX_UTIL_API EkxGetCachedPropRes KxUtilProcMap_GetImagePathAndCmdLine(uint32_t pid, CkxUtilStr& path,
                                                                     CkxUtilStr& cmdLine) noexcept;

/// Empty for a process that no service started.
KX_UTIL_API bool KxUtilProcMap_GetParentSvcName(uint32_t pid, CkxUtilStr& svcName) noexcept;

/// Whether the user was shown that access is restricted, and whether the event was sent. A type that is none is
/// ignored. `GetAndSet` hands out the flag before it is set: of all who ask, one alone is told that it was not.
KX_UTIL_API bool KxUtilProcMap_SetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetAndSetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type,
                                                     bool& flag) noexcept;
KX_UTIL_API bool KxUtilProcMap_SetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetAndSetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type,
                                                       bool& flag) noexcept;

/// Whether the program installs software; false until marked.
KX_UTIL_API bool KxUtilProcMap_MarkAsSetupExe(uint32_t pid) noexcept;
KX_UTIL_API bool KxUtilProcMap_IsSetupExe(uint32_t pid, bool& isSetup) noexcept;

/// Keeps `handle`, which protects that file while the process runs (a Windows handle, elsewhere a descriptor as a
/// pointer). It is the map's from then on, which closes it with the process's record or when another one takes its
/// place; a null one only lets go of the one before. When the answer is false it stays the caller's.
KX_UTIL_API bool KxUtilProcMap_SetProctionHandle(uint32_t pid, void* handle, CkxTextView fileName) noexcept;
KX_UTIL_API bool KxUtilProcMap_FileIsProtected(uint32_t pid, CkxTextView fileName) noexcept;

/// What somebody found out of the process that `target` describes, under a name that is compared exactly. A description
/// that knows its time of creation has nothing to do with another process of its number. An empty value is none.
KX_UTIL_API EkxGetCachedPropRes KxUtilProcMap_GetCachedProp(const CkxTargetInfoProcess& target, CkxTextView name,
                                                            CkxUtilStr& value) noexcept;
KX_UTIL_API bool KxUtilProcMap_SetCachedProp(const CkxTargetInfoProcess& target, CkxTextView name,
                                             CkxTextView value) noexcept;
KX_UTIL_API bool KxUtilProcMap_SetEmptyCachedProp(const CkxTargetInfoProcess& target, CkxTextView name) noexcept;
KX_UTIL_API bool KxUtilProcMap_RemoveCachedProp(const CkxTargetInfoProcess& target, CkxTextView name) noexcept;

/// Who signed the program. `FoundEmpty` for one whose signer has no name; `status` counts then too.
KX_UTIL_API EkxGetCachedPropRes KxUtilProcMap_GetPublisher(uint32_t pid, CkxUtilStr& publisher,
                                                           EkxPublisherStatus& status) noexcept;
KX_UTIL_API bool KxUtilProcMap_SetPublisher(uint32_t pid, CkxTextView publisher, EkxPublisherStatus status) noexcept;

/// What it takes to judge a process that goes to the net; of one moment.
struct SkxProcParamsForNetAccess {
  CkxUtilStr Path;
  std::optional<SkxProcessPolicyData> PolicyData;  ///< nothing: not decided yet
  CkxUtilStr ParentSvcName;
  CkxUtilStr Publisher;
  EkxPublisherStatus PublisherStatus = EkxPublisherStatus::Unknown;
};
KX_UTIL_API bool KxUtilProcMap_GetProcParamsForNetAccess(uint32_t pid, SkxProcParamsForNetAccess& params) noexcept;

/// The whole map for a person to read, in UTF-8: records in the order in which processes started, then those of ended
/// ones in the order of their ends, times as the clock on the wall showed them. A file takes the place of one that is
/// there. False, with nothing written, when there is no map.
KX_UTIL_API bool KxUtilProcMap_Dump(CkxTextView fileName) noexcept;
KX_UTIL_API bool KxUtilProcMap_GetDump(CkxUtilStr& text) noexcept;

/// What the system says of processes. The map of this machine asks the system; one of recorded events asks its own.
/// Several threads may ask at once.
class IkxProcMapSystem {
 public:
  virtual ~IkxProcMapSystem() = default;
  virtual int64_t Now() = 0;                                             ///< file time
  virtual std::optional<int64_t> CreationTime(uint32_t pid) = 0;         ///< nothing: not known
  virtual std::optional<uint32_t> ProcessOfThread(uint32_t thread) = 0;  ///< nothing: not known
  virtual KxWString ServicesOf(uint32_t pid) = 0;                        ///< empty: it is no service
  virtual void Close(void* handle) = 0;                                  ///< one that the map was given to keep
};

/// A map beside the one of this process, for events that were recorded. `system` must outlive it, and it every scope.
class KX_UTIL_API CkxRecordedProcMap {
 public:
  explicit CkxRecordedProcMap(IkxProcMapSystem& system);
  ~CkxRecordedProcMap();
  CkxRecordedProcMap(const CkxRecordedProcMap&) = delete;
  CkxRecordedProcMap& operator=(const CkxRecordedProcMap&) = delete;

 private:
  friend class CkxProcMapScope;
  const std::unique_ptr<SkxProcMapPlace> _place;
};

/// While it lives, all of the above means that map on this thread. Scopes nest.
class KX_UTIL_API CkxProcMapScope {
 public:
  explicit CkxProcMapScope(const CkxRecordedProcMap& map);

 private:
  const CkxThreadPointer<SkxProcMapPlace>::Scope _scope;
};
