// What the policies of other systems say, in terms that ours can be made of: rules that allow or deny what meets a
// condition, those that are judged together in one set.
//
//   XML --applocker / app_control--> SkxImportedSet --rule_order--> policies in order --import_document--> document
//
// What a set decides: denied is what a deny rule applies to; else allowed what an allow rule applies to; else denied.
// A rule applies to what meets any of its conditions and none of its exceptions. What is of another kind than those of
// the set is not judged at all.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/text_view.h"

/// A pattern for the whole path, with "*" for any run of units and "?" for one, on drives of those types.
struct SkxPathPattern {
  KxWString glob;
  KxWString driveTypes;  ///< separated by ","; empty: any
};

struct SkxImportedHash {
  KxWString algorithm;
  KxWString hex;  ///< upper case
};

/// A text of the version resource, or a property of a package, that must be this one, whatever the case.
struct SkxNamedText {
  KxWString name;
  KxWString text;
};

inline constexpr const WCHAR* kKxAnySigner = KXW("*");

/// All that is asked must hold; what is empty is not asked. Without anything it is met by every file.
struct SkxFileCondition {
  static constexpr uint64_t kNoMaximum = ~uint64_t{0};

  std::optional<SkxPathPattern> path;
  std::optional<SkxImportedHash> hash;
  std::vector<KxWString> signers;  ///< any of these names, or `kKxAnySigner`
  std::vector<SkxNamedText> texts;
  uint64_t minVersion = 0;  ///< four 16-bit parts, major first
  uint64_t maxVersion = kNoMaximum;
  std::optional<KxWString> packageName;
  bool isOfNoProgram = false;  ///< for files alone that are neither programs nor libraries

  bool AsksForVersion() const { return minVersion != 0 || maxVersion != kNoMaximum; }
};
using KxFileConditions = std::vector<SkxFileCondition>;

enum class EkxImportedKind { Executable, Library, Script, Installer, AppPackage };

/// A kind of things that a set judges. Of a kind with extensions it judges files of these names alone.
struct SkxJudgedKind {
  EkxImportedKind kind;
  std::vector<const WCHAR*> extensions{};
  bool hasProperties = false;  ///< of installer packages: product and version are compared with their properties
  bool isByNameAlone = false;  ///< of application packages: those that no rule names are not judged
};

/// What became of a rule. The worst that was said counts.
enum class EkxImportStatus { Exact, Approximate, NotExpressed };

struct SkxImportedRule {
  std::string file;
  std::string id;    ///< as in the original
  std::string name;  ///< likewise; may be empty
  bool isAllow = false;
  std::optional<CkxSid> user;   ///< or group; nothing: everybody
  KxFileConditions conditions;  ///< without any it applies to nothing
  KxFileConditions exceptions;
  EkxImportStatus status = EkxImportStatus::Exact;
  std::vector<std::string> reasons;

  static constexpr size_t kMaxReasons = 16;
  void Say(EkxImportStatus worst, const std::string& reason);  ///< the first reasons are kept, each once
};

struct SkxImportedSet {
  std::string name;
  bool isAudit = false;  ///< what would be denied runs, and is reported
  std::vector<SkxJudgedKind> kinds;
  std::vector<SkxImportedRule> rules;
};

struct SkxImportNote {
  std::string file;
  std::string text;
};

/// All that was read. `notes` is about files as a whole.
struct SkxImportedPolicy {
  std::vector<SkxImportedSet> sets;
  std::vector<SkxImportNote> notes;
};

inline void SkxImportedRule::Say(EkxImportStatus worst, const std::string& reason) {
  status = status < worst ? worst : status;
  for (const std::string& said : reasons) {
    if (said == reason) return;
  }
  if (reasons.size() < kMaxReasons) reasons.push_back(reason);
}
