// Policies from things that were seen: for each the surest rule that it meets and that stays true when it is updated.
//
//   1. signed, with a product and a version   its publisher, the product, and no version older than those seen
//   2. signed                                 its publisher and the name of the file
//   3. with a digest that nobody can forge    the digest
//   4. with a full path                       the folder and the name of the file
//
//   CkxSuggestion suggestion;
//   for (...) suggestion.Add(target);
//   KxPolicyDocument_Write(suggestion.Publication(*kind), document, error);
//
// Things with the same rule share it, so that what is kept grows with what there is and not with how often it is seen.
// The policies are the same in whatever order things were added.
#pragma once

#include <kx_util/target_info_file.h>

#include <map>
#include <tuple>

#include "Agent/engine/kx_publish/model/policy_kinds.h"

class CkxSuggestion {
 public:
  /// False for what no rule is about: no program, library, script or package, or one without a name, of which nothing
  /// is known that tells it from others. Throws what keeps the thing from being looked at: std::bad_alloc, or a
  /// CkxDocumentFault.
  bool Add(const CkxTargetInfo& target);

  /// A policy a rule, each with a name that says how often it was met. `kind`: of `KxSuggestion_Kind`.
  SkxPublication Publication(const SkxPolicyKind& kind) const;

  size_t Added() const { return _added; }
  size_t LeftOut() const { return _leftOut; }

 private:
  enum class Way : uint8_t { Product, SignedName, Digest, Place };

  /// What a rule asks for, by its way: publisher and product, publisher and name, algorithm and text of the digest,
  /// folder and name.
  struct Rule {
    Way way = Way::Place;
    EkxPolicyTarget type = EkxPolicyTarget::Invalid;
    KxWString first;
    KxWString second;

    auto Key() const { return std::tie(way, type, first, second); }
  };
  /// Without regard to case, as rules are met.
  struct IsLess {
    bool operator()(const Rule& a, const Rule& b) const;
  };
  struct Seen {
    Rule rule;  ///< spelled as in the thing that comes first in order
    KxWString fileName;
    SkxVersion least;
    uint64_t count = 0;
  };

  static std::optional<Rule> ProductRule(const CkxTargetInfoFile& file);
  static std::optional<Rule> SignedNameRule(const CkxTargetInfoFile& file);
  static std::optional<Rule> DigestRule(const CkxTargetInfoFile& file);
  static std::optional<Rule> PlaceRule(const CkxTargetInfoFile& file);
  static std::optional<Rule> RuleOf(const CkxTargetInfo& target);
  static KxWString NameOf(const Seen& seen);
  template <class Body>
  static Body BodyOf(const Seen& seen);
  static SkxTargetBody TargetOf(const Seen& seen);

  std::map<Rule, Seen, IsLess> _rules;
  size_t _added = 0;
  size_t _leftOut = 0;
};

/// The kind of policies of that name, if it is one that can be suggested: about programs, and complete with its
/// targets.
const SkxPolicyKind* KxSuggestion_Kind(const char* key);
