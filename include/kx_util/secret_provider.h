// Where the secrets come from that records are signed with. The library has none of its own: the host process installs
// a provider, and without one nothing is signed, and no signature holds.
//
//   KxUtil_SetSecretProvider(std::make_shared<CkxSystemSecretProvider>());
//
// A provider is asked each time, so that one that reads where the secrets are kept need not keep them, and a key that
// is replaced counts from the next question on. What it hands out is wiped after use.
#pragma once

#include <memory>
#include <span>

#include "Common_CPP/util/text_view.h"

/// A secret's bytes, overwritten before their memory is freed.
class KX_UTIL_API CkxSecret {
 public:
  CkxSecret() = default;
  CkxSecret(CkxSecret&& other) noexcept { *this = std::move(other); }
  CkxSecret& operator=(CkxSecret&& other) noexcept;
  ~CkxSecret() { Wipe(); }

  /// A copy of `bytes`, in the place of what was there. False without memory: then it is empty.
  bool Assign(std::span<const unsigned char> bytes) noexcept;
  void Wipe() noexcept;

  bool IsEmpty() const { return _size == 0; }
  std::span<const unsigned char> Bytes() const { return {_bytes.get(), _size}; }

 private:
  std::unique_ptr<unsigned char[]> _bytes;
  size_t _size = 0;
};

/// Keys have 16 to 4096 bytes, a pass phrase 1 to 4096.
inline constexpr size_t kKxMinKeyBytes = 16;
inline constexpr size_t kKxMaxSecretBytes = 4096;

/// How many keys are asked for: the one that signs, and those before it.
inline constexpr unsigned kKxMaxKeys = 8;

/// Asked by any thread, by several at once; must not throw. False where it has no such secret, and where it cannot
/// tell.
class IkxSecretProvider {
 public:
  virtual ~IkxSecretProvider() = default;

  /// The key of the keyed signature, number 0; and those that it has taken the place of, the newest first, from 1 on
  /// until there is none: what they have signed still holds, and they sign nothing more.
  virtual bool Key(unsigned number, CkxSecret& key) const noexcept = 0;

  /// Of the older signature.
  virtual bool PassPhrase(CkxSecret& phrase) const noexcept = 0;
};

/// For the whole process, from the next question on; null: none. Returns the one before. The library keeps the provider
/// until it is replaced, and a question under way until it is answered: then it goes with whoever else has it.
KX_UTIL_API std::shared_ptr<const IkxSecretProvider> KxUtil_SetSecretProvider(
    std::shared_ptr<const IkxSecretProvider> provider) noexcept;

/// What became of a file with a secret.
enum class EkxSecretStatus : unsigned char {
  Taken,
  Unreadable,      ///< no such file, or it cannot be read; with the last error set
  NotOwnersAlone,  ///< others can read it
  WrongSize,
};

/// Secrets that somebody names the files of, as they are. Each is read once, here; the object keeps it.
class KX_UTIL_API CkxFileSecretProvider : public IkxSecretProvider {
 public:
  /// What was read before is wiped, whatever the answer.
  EkxSecretStatus ReadKey(const WCHAR* path) noexcept;
  EkxSecretStatus ReadPassPhrase(const WCHAR* path) noexcept;

  bool Key(unsigned number, CkxSecret& key) const noexcept override;
  bool PassPhrase(CkxSecret& phrase) const noexcept override;

 private:
  CkxSecret _key;
  CkxSecret _passPhrase;
};

/// The machine's, which the system and administrators alone can read, kept in files of a folder: "signing.key",
/// "signing.key.1" and so on for those before it, "pass-phrase". Read each time. On Windows below the system's folder
/// for all users' data, and protected; elsewhere in /var/lib/kx/secrets.
class KX_UTIL_API CkxSystemSecretProvider : public IkxSecretProvider {
 public:
  /// `folder` is another one, with a separator at its end.
  explicit CkxSystemSecretProvider(const WCHAR* folder = nullptr);

  bool Key(unsigned number, CkxSecret& key) const noexcept override;
  bool PassPhrase(CkxSecret& phrase) const noexcept override;

  /// Puts a key into the place of key 0, which becomes number 1, and so on; the last one is given up. False with the
  /// last error set: then the keys that count are the ones before, or all of them and the new one.
  bool StoreKey(std::span<const unsigned char> key) const noexcept;
  bool StorePassPhrase(std::span<const unsigned char> phrase) const noexcept;

 private:
  const KxWString _folder;
};
