#include "tools/kxpolicy/secret_input.h"

#include <kx_util/secret_provider.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

KxWString SecretPathOf(const std::string& path) {
  std::optional<KxWString> wide = KxText_FromUtf8(path);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, path + ": is not UTF-8");
  return std::move(*wide);
}

void RequireTaken(EkxSecretStatus status, const std::string& path, size_t minBytes) {
  switch (status) {
    case EkxSecretStatus::Taken:
      return;
    case EkxSecretStatus::Unreadable:
      throw CkxToolFault(EkxExit::UnusableInput, path + ": cannot be read: " + KxFile_WhyRefused(SecretPathOf(path)));
    case EkxSecretStatus::NotOwnersAlone:
      throw CkxToolFault(EkxExit::UnusableArguments, path + ": is no file that its owner alone can read");
    case EkxSecretStatus::WrongSize:
      throw CkxToolFault(EkxExit::UnusableArguments, path + ": must have " + std::to_string(minBytes) + " to " +
                                                         std::to_string(kKxMaxSecretBytes) + " bytes");
  }
}

}  // namespace

void SkxSecretOptions::AddTo(const CkxVerbOptions& verb) {
  verb.Add("--key-file", keyFile, "The key of signatures: the file's bytes, 16 to 4096; its owner's alone to read")
      .File();
  verb.Add("--pass-phrase-file", passPhraseFile, "The pass phrase of the older signatures: the file's bytes, 1 to 4096")
      .File();
}

CkxSecretInput::CkxSecretInput(const SkxSecretOptions& options, EkxUnnamedSecrets unnamed) {
  const std::string& key = options.keyFile;
  const std::string& phrase = options.passPhraseFile;
  if (key.empty() && phrase.empty() && unnamed == EkxUnnamedSecrets::Machines) {
    _before = KxUtil_SetSecretProvider(std::make_shared<CkxSystemSecretProvider>());
    return;
  }
  auto provider = std::make_shared<CkxFileSecretProvider>();
  if (!key.empty()) RequireTaken(provider->ReadKey(SecretPathOf(key).c_str()), key, kKxMinKeyBytes);
  if (!phrase.empty()) RequireTaken(provider->ReadPassPhrase(SecretPathOf(phrase).c_str()), phrase, 1);
  _before = KxUtil_SetSecretProvider(std::move(provider));
}

CkxSecretInput::~CkxSecretInput() { KxUtil_SetSecretProvider(std::move(_before)); }
