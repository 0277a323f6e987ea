// Catalogs: signed lists of files, each by its digest, kept apart from the files.
//
//   trust list, for catalogs          usage, an id, a time, then the members:
//     member                          a tag, and what is said of it; among that
//       indirect data                 as in a file's own signature: the digest
#pragma once

#include <functional>
#include <map>
#include <set>

#include "Common_CPP/signature/signed_message_posix.h"
#include "Common_CPP/util/text_view.h"

class CkxCatalogs {
 public:
  /// A catalog, or all of a folder that are. False when there is none.
  bool Add(CkxTextView path);
  bool AddBytes(std::span<const unsigned char> bytes);

  /// Of all their members, the strongest first.
  using Algorithms = std::set<EkxHashAlgorithm, std::greater<>>;
  const Algorithms& OfMembers() const { return _algorithms; }

  /// The first catalog that was added with a member of that digest; null when there is none.
  const CkxSignedMessage* With(EkxHashAlgorithm algorithm, const std::vector<unsigned char>& digest) const;

 private:
  using Member = std::pair<EkxHashAlgorithm, std::vector<unsigned char>>;
  std::vector<std::unique_ptr<const CkxSignedMessage>> _catalogs;
  std::map<Member, size_t> _members;  // the number of the catalog
  Algorithms _algorithms;
};
