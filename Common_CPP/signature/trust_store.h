// Whose signatures count, and where they may lie apart from their files: the system's roots and catalogs, and those
// that a caller adds for a while.
//
//   CkxTrustStore store;
//   if (!store.Add(path)) ...
//   CkxTrustScope scope(store);   // this thread, until the scope ends; scopes nest
#pragma once

#include <memory>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/text_view.h"

enum class EkxTrustRoots : unsigned char {
  Systems,     ///< those of the system, as they are now, and those that are added
  AddedAlone,  ///< for what only its owner's own may sign
};

class CkxTrustStore {
 public:
  explicit CkxTrustStore(EkxTrustRoots roots = EkxTrustRoots::Systems);
  ~CkxTrustStore();
  CkxTrustStore(const CkxTrustStore&) = delete;
  CkxTrustStore& operator=(const CkxTrustStore&) = delete;

  /// The certificates, and lists of those that were revoked, of a file in PEM form, or of all files of a folder that
  /// have any. False when the file, or every file of the folder, has none, or it cannot be read.
  bool Add(CkxTextView path);

  /// A catalog, or all of a folder that are. False when there is none, and where the system's own catalogs alone are
  /// asked, on Windows.
  bool AddCatalogs(CkxTextView path);

  struct State;
  const State& Get() const { return *_state; }

  /// That of the innermost scope of this thread; null without one.
  static const CkxTrustStore* Current();

 private:
  friend class CkxTrustScope;
  static const CkxThreadPointer<const CkxTrustStore>& Pointer();

  const std::unique_ptr<State> _state;
};

class CkxTrustScope {
 public:
  explicit CkxTrustScope(const CkxTrustStore& store) : _scope(CkxTrustStore::Pointer(), &store) {}

 private:
  const CkxThreadPointer<const CkxTrustStore>::Scope _scope;
};
