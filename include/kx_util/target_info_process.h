// The description of a process: a program file with a command line, the services it hosts, its parent, and what it was
// started for (the package of an installer, the script of a script host).
#pragma once

#include <kx_util/target_info_file.h>

#include "Common_CPP/process/process_lookup.h"

struct SkxProcess;

/// The description of a process, which is also that of its program.
class KX_UTIL_API CkxTargetInfoProcess : public CkxTargetInfoFile {
 public:
  CkxTargetInfoProcess(const WCHAR* path, SkxProcessFacts process, void* userToken, bool flag = false);
  CkxTargetInfoProcess(SkxFileFacts file, SkxProcessFacts process, void* userToken, bool flag = false);
  ~CkxTargetInfoProcess() override;

  /// A process of this machine as it is now: its image, command line and services, the processes above it, and the file
  /// that it was started for, where that can be told. Files are looked at when a matcher asks. It runs for its own
  /// user, who is the description's to keep, unless `userToken` says for whom. Null when there is no such process, or
  /// the system does not tell all that counts; `lookup` is which. Out of memory it is refused.
  static CkxTargetInfoPtr CreateFromPid(uint32_t pid, EkxProcessLookup& lookup, void* userToken = nullptr,
                                        bool flag = false);

  bool IsTargetInfoProcess() const override { return true; }

  /// An executable, whatever its image is called: the system starts an image of any name. A record may say otherwise.
  /// What a process was started for is described like one, with its own path and arguments, and is what its name says.
  EkxPolicyTarget TargetType() const override;

  /// The first thing that the process was started for, else the process itself.
  const CkxTargetInfo& GetEffectiveTarget() const override;

  /// Nothing about it is to be read from this machine.
  bool IsRecorded() const { return _isRecorded; }

  uint32_t Pid() const { return _process.pid; }

  /// Which process it is, whoever had or has its number, and which one started it, also when that has ended. File
  /// times; 0 for what is not known.
  int64_t CreationTime() const { return _process.creationTime; }
  uint32_t ParentPid() const { return _process.parentPid; }
  int64_t ParentCreationTime() const { return _process.parentCreationTime; }
  const WCHAR* CommandLine() const { return _process.commandLine.c_str(); }
  const WCHAR* ServiceNames() const { return _process.services.c_str(); }  ///< separated by "/"
  const SkxProcessSurroundings& Surroundings() const { return _process.surroundings; }

  /// Null when unknown. Owned.
  const CkxTargetInfo* Parent() const { return _parent.get(); }
  void SetParent(CkxTargetInfoPtr parent) {
    _parent = std::move(parent);
    _RenewIdentity();
  }

  /// The process stands for what its file is by its name, a package or a script, and not for a program under any name.
  void SetTypedByName();

  /// What the process carries besides itself, in the order in which it was added. Owned.
  void AddLinked(CkxTargetInfoPtr target);
  const std::vector<CkxTargetInfoPtr>& Linked() const { return _linked; }

  /// The first linked file or process of that type, or null. Of an interpreter to which no script was linked, the
  /// script that its command line names: a process with the path, the arguments and the facts of the script.
  const CkxTargetInfoFile* LinkedOfType(EkxPolicyTarget type) const;

 protected:
  void _GetDescriptionForEvent(CkxUtilStr& text) const override;

 private:
  CkxTargetInfoProcess(bool isTyped, SkxFileFacts file, SkxProcessFacts process, void* userToken, bool flag);
  static CkxTargetInfoPtr _Describe(const SkxProcess& process, const SkxProcess* parent, void* userToken, bool flag);
  CkxTargetInfoPtr _DescribeScript() const;

  std::shared_ptr<void> _ownUser;  // of a process of this machine: its token, which what belongs to it uses too
  const SkxProcessFacts _process;
  const bool _isRecorded;
  const bool _isTyped;  // by its record
  bool _isTypedByName = false;
  CkxTargetInfoPtr _parent;
  std::vector<CkxTargetInfoPtr> _linked;
  mutable std::optional<CkxTargetInfoPtr> _script;  // that the command line names; none until it is sought
};
