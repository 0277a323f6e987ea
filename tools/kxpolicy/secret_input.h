// The secrets of signatures for the run of a verb, from the files that --key-file and --pass-phrase-file name.
#pragma once

#include <memory>
#include <string>

#include "tools/kxpolicy/options.h"

class IkxSecretProvider;

struct SkxSecretOptions {
  std::string keyFile;
  std::string passPhraseFile;

  /// `this` outlives the verb.
  void AddTo(const CkxVerbOptions& verb);
};

/// Where the secrets are from when no file is named for any.
enum class EkxUnnamedSecrets : unsigned char {
  None,      ///< what needs one is refused
  Machines,  ///< those that the agent has on this machine, for who may read them
};

/// In place of the installed provider. What no file is named for beside one that is named is not there.
class CkxSecretInput {
 public:
  /// Throws CkxToolFault for a file that cannot be read, that others can read, or that is no such secret.
  explicit CkxSecretInput(const SkxSecretOptions& options, EkxUnnamedSecrets unnamed = EkxUnnamedSecrets::None);
  ~CkxSecretInput();
  CkxSecretInput(const CkxSecretInput&) = delete;
  CkxSecretInput& operator=(const CkxSecretInput&) = delete;

 private:
  std::shared_ptr<const IkxSecretProvider> _before;
};
