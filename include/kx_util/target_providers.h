// The five small interfaces through which matchers look at a target description. Whatever the thing is, they ask for
// one of these and match against its answers. Texts are owned by the provider and live as long as it does; null is
// "unknown".
//
// Other modules call these interfaces by the order of their operations: nothing may come before or between them, a
// destructor included. Whoever has only an interface does not own what is behind it.
#pragma once

#include "Common_CPP/security/sid.h"
#include "Common_CPP/signature/signer.h"
#include "Common_CPP/util/owned_str.h"

/// Has a path.
class KX_UTIL_API IkxPathProvider {
 public:
  static constexpr int64_t kUnknownSize = -1;

  virtual const WCHAR* GetPath() const = 0;         ///< full path
  virtual int64_t GetFileSize() const = 0;          ///< bytes, -1 when unknown
  virtual int64_t GetModificationTime() const = 0;  ///< 100 ns since 1601 UTC, 0 when unknown
  virtual void* GetAccessToken() const = 0;         ///< under which the file is to be examined; null: the caller's own

 protected:
  ~IkxPathProvider() = default;
};

/// Has content that can be hashed.
class KX_UTIL_API IkxHashProvider : public IkxPathProvider {
 public:
  /// "ALGORITHM##HEX" for that algorithm.
  virtual const WCHAR* GetHashStringUsing(const WCHAR* algorithm) const = 0;

  /// The provider's own choice of algorithm and its hash ("SHA256" where there is one).
  virtual bool GetHash(CkxUtilStr& algorithm, CkxUtilStr& hash) const = 0;

  /// Of that choice: "ALGORITHM##HEX". `out` is untouched unless the answer is true.
  virtual bool GetAlgorithmAndHashString(CkxUtilStr& out) const;

 protected:
  ~IkxHashProvider() = default;
};

/// May be signed.
class KX_UTIL_API IkxPublisherProvider {
 public:
  /// The name of the first or the second signer; `status` is set whether or not there is one.
  virtual const WCHAR* GetPublisher(bool secondSigner, EkxPublisherStatus& status) const = 0;

 protected:
  ~IkxPublisherProvider() = default;
};

/// Has an owner.
class KX_UTIL_API IkxOwnerProvider {
 public:
  virtual const CkxSid* GetOwner() const = 0;
  virtual const WCHAR* GetOwnerDomainUserName() const = 0;  ///< "DOMAIN\name"

 protected:
  ~IkxOwnerProvider() = default;
};

/// May have a version resource.
class KX_UTIL_API IkxVersionInfoProvider {
 public:
  /// The text of a named field of the file's version resource, for instance "CompanyName".
  virtual const WCHAR* GetVersionInfo(const WCHAR* field) const = 0;

 protected:
  ~IkxVersionInfoProvider() = default;
};

/// A path and nothing more: what free functions use that have only that. Owns neither.
class KX_UTIL_API CkxSimplePathProvider final : public IkxPathProvider {
 public:
  explicit CkxSimplePathProvider(const WCHAR* path, void* token = nullptr) : _path(path), _token(token) {}
  const WCHAR* GetPath() const override { return _path; }
  int64_t GetFileSize() const override { return kUnknownSize; }
  int64_t GetModificationTime() const override { return 0; }
  void* GetAccessToken() const override { return _token; }

 private:
  const WCHAR* const _path;
  void* const _token;
};
