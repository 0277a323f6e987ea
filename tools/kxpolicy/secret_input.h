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

/// In place of the installed provider. What no file is named for is not there: what needs it is refused.
class CkxSecretInput {
 public:
  /// Throws CkxToolFault for a file that cannot be read, that others can read, or that is no such secret.
  explicit CkxSecretInput(const SkxSecretOptions& options);
  ~CkxSecretInput();
  CkxSecretInput(const CkxSecretInput&) = delete;
  CkxSecretInput& operator=(const CkxSecretInput&) = delete;

 private:
  std::shared_ptr<const IkxSecretProvider> _before;
};
