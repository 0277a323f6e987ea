// The system's calls for extended attributes, with the bytes and statuses of Windows' native file API on every
// platform.
//
// They stand in a table, so that tests on a system that keeps no attributes can put another one in its place. Paths
// are followed like any other program follows them; whoever must be sure of the file opens it once and goes on with
// the handle.
//
//   const SkxNativeEa& system = KxNativeEa();
//   const long status = system.query(file, KxEaQuery_Of("KXAgentUri"), answer, written);
#pragma once

#include <span>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/nt_status.h"
#include "Common_CPP/util/text_view.h"

/// What an open file is for. Several may be asked for together.
enum EkxEaAccess : unsigned { KxEaRead = 1, KxEaWrite = 2, KxEaAttributes = 4 };

struct SkxNativeEa {
  using Bytes = std::span<const unsigned char>;

  /// A file or folder that exists. Others may read, write and delete it meanwhile. Sets the thread's last error where
  /// it fails.
  long (*open)(CkxTextView path, unsigned access, intptr_t& file);
  void (*close)(intptr_t file);  ///< leaves the thread's last error as it is

  /// What the volume tells the open file from all others by, whatever its name.
  long (*fileId)(intptr_t file, uint64_t& id);

  /// Applies each record of a list in its order; an empty value removes the attribute, also one that is not there.
  long (*set)(intptr_t file, Bytes list);

  /// The attribute of a question (`KxEaQuery_Of`), or with an empty one all, as a list in `answer`. One that is absent
  /// is answered with an empty value or with `kKxStatusNoEasOnFile`. Names come in capitals.
  long (*query)(intptr_t file, Bytes question, std::span<unsigned char> answer, size_t& written);

  /// What the list of all takes, or more.
  long (*querySize)(intptr_t file, uint32_t& bytes);

  // Whether the file is marked read-only. Other marks stay as they are.
  long (*isReadOnly)(intptr_t file, bool& readOnly);
  long (*setReadOnly)(intptr_t file, bool readOnly);

  /// Whether the kernel's attributes of the file were set for its present content. Always, where the system sees to it.
  bool (*areKernelEasCurrent)(intptr_t file);

  /// Whether this system has kernel attributes, or something in their place.
  bool (*hasKernelEas)();

  /// Sets or removes one kernel attribute in place of a driver; null where only a driver can.
  long (*setKernelEa)(void* file, const void* record, unsigned long size);
};

/// The system's own; not what a scope has put in its place.
const SkxNativeEa& KxNativeEa_OfSystem();

/// Of this thread.
const SkxNativeEa& KxNativeEa();

/// While it lives, `KxNativeEa` is `table` on this thread. Scopes nest.
class CkxNativeEaScope {
 public:
  explicit CkxNativeEaScope(const SkxNativeEa& table);

 private:
  const CkxThreadPointer<const SkxNativeEa>::Scope _scope;
};
