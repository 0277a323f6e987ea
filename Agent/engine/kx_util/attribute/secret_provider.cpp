#include "Agent/engine/kx_util/attribute/secret_provider.h"

#include <algorithm>
#include <mutex>

#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/crypto/secret_file.h"
#include "Common_CPP/util/trace.h"

namespace {

std::mutex providerMutex;  // guards the pointer

/// Never destroyed: at the end of a process its other threads may still ask.
std::shared_ptr<const IkxSecretProvider>& InstalledProvider() {
  static auto* const installed = std::make_unique<std::shared_ptr<const IkxSecretProvider>>().release();
  return *installed;
}

EkxSecretStatus StatusOf(EkxSecretRead read) {
  switch (read) {
    case EkxSecretRead::Read:
      return EkxSecretStatus::Taken;
    case EkxSecretRead::NotOwnersAlone:
      return EkxSecretStatus::NotOwnersAlone;
    case EkxSecretRead::Unreadable:
      break;
  }
  return EkxSecretStatus::Unreadable;
}

EkxSecretStatus ReadSecret(CkxTextView path, EkxSecretFile kind, size_t minBytes, CkxSecret& secret) {
  secret.Wipe();
  KxWipedVector<unsigned char> bytes(kKxMaxSecretBytes + 1);
  size_t size = 0;
  const EkxSecretStatus status = StatusOf(KxSecretFile_Read(path, kind, bytes, size));
  if (status != EkxSecretStatus::Taken) return status;
  if (size < minBytes || size > kKxMaxSecretBytes) {
    KxTrace(EkxTraceLevel::Error, "CkxSecret", "ERROR: [", path, "] has no ", minBytes, " to ", kKxMaxSecretBytes,
            " bytes");
    return EkxSecretStatus::WrongSize;
  }
  return secret.Assign(std::span(bytes).first(size)) ? EkxSecretStatus::Taken : EkxSecretStatus::Unreadable;
}

bool CopySecret(const CkxSecret& secret, CkxSecret& copy) { return !secret.IsEmpty() && copy.Assign(secret.Bytes()); }

KxWString NameOfKey(unsigned number) {
  KxWString name = KXW("signing.key");
  if (number != 0) name += {KXW('.'), static_cast<WCHAR>(KXW('0') + number)};
  return name;
}
static_assert(kKxMaxKeys <= 10, "numbers of keys are digits");

constexpr const WCHAR* kPassPhraseName = KXW("pass-phrase");

}  // namespace

CkxSecret& CkxSecret::operator=(CkxSecret&& other) noexcept {
  if (this == &other) return *this;
  Wipe();
  _bytes = std::move(other._bytes);
  _size = std::exchange(other._size, 0);
  return *this;
}

bool CkxSecret::Assign(std::span<const unsigned char> bytes) noexcept {
  Wipe();
  return KxEntry(false, [&] {
    _bytes = std::make_unique<unsigned char[]>(bytes.size());
    _size = bytes.size();
    std::copy(bytes.begin(), bytes.end(), _bytes.get());
    return true;
  });
}

void CkxSecret::Wipe() noexcept {
  if (_bytes != nullptr) KxWipe(_bytes.get(), _size);
  _bytes.reset();
  _size = 0;
}

bool KxSecrets_AreInstalled() {
  const std::lock_guard lock(providerMutex);
  return InstalledProvider() != nullptr;
}

std::shared_ptr<const IkxSecretProvider> KxSecrets_Installed() {
  const std::lock_guard lock(providerMutex);
  if (InstalledProvider() == nullptr) {
    KxTrace(EkxTraceLevel::Error, "IkxSecretProvider", "ERROR: No provider of secrets is installed");
  }
  return InstalledProvider();
}

std::shared_ptr<const IkxSecretProvider> KxUtil_SetSecretProvider(
    std::shared_ptr<const IkxSecretProvider> provider) noexcept {
  KxEntry([&] {
    const std::lock_guard lock(providerMutex);
    InstalledProvider().swap(provider);
  });
  return provider;
}

EkxSecretStatus CkxFileSecretProvider::ReadKey(const WCHAR* path) noexcept {
  return KxEntry(EkxSecretStatus::Unreadable,
                 [&] { return ReadSecret(path, EkxSecretFile::Named, kKxMinKeyBytes, _key); });
}

EkxSecretStatus CkxFileSecretProvider::ReadPassPhrase(const WCHAR* path) noexcept {
  return KxEntry(EkxSecretStatus::Unreadable, [&] { return ReadSecret(path, EkxSecretFile::Named, 1, _passPhrase); });
}

bool CkxFileSecretProvider::Key(unsigned number, CkxSecret& key) const noexcept {
  return number == 0 && CopySecret(_key, key);
}

bool CkxFileSecretProvider::PassPhrase(CkxSecret& phrase) const noexcept { return CopySecret(_passPhrase, phrase); }

CkxSystemSecretProvider::CkxSystemSecretProvider(const WCHAR* folder)
    : _folder(folder != nullptr ? KxWString(folder) : KxSecretFile_SystemFolder()) {}

bool CkxSystemSecretProvider::Key(unsigned number, CkxSecret& key) const noexcept {
  return number < kKxMaxKeys && KxEntry(false, [&] {
           return ReadSecret(_folder + NameOfKey(number), EkxSecretFile::Systems, kKxMinKeyBytes, key) ==
                  EkxSecretStatus::Taken;
         });
}

bool CkxSystemSecretProvider::PassPhrase(CkxSecret& phrase) const noexcept {
  return KxEntry(false, [&] {
    return ReadSecret(_folder + kPassPhraseName, EkxSecretFile::Systems, 1, phrase) == EkxSecretStatus::Taken;
  });
}

/// From the last one on, so that each key is there under one number at least when it ends before its time.
bool CkxSystemSecretProvider::StoreKey(std::span<const unsigned char> key) const noexcept {
  return key.size() >= kKxMinKeyBytes && key.size() <= kKxMaxSecretBytes && KxEntry(false, [&] {
           for (unsigned number = kKxMaxKeys - 1; number > 0; --number) {
             CkxSecret older;
             if (Key(number - 1, older) && !KxSecretFile_Write(_folder + NameOfKey(number), older.Bytes()))
               return false;
           }
           return KxSecretFile_Write(_folder + NameOfKey(0), key);
         });
}

bool CkxSystemSecretProvider::StorePassPhrase(std::span<const unsigned char> phrase) const noexcept {
  return !phrase.empty() && phrase.size() <= kKxMaxSecretBytes &&
         KxEntry(false, [&] { return KxSecretFile_Write(_folder + kPassPhraseName, phrase); });
}
