// Policies of other systems as a policy document of ours.
//
//   SkxImportResult result;
//   if (!KxImport(EkxImportKind::AppLocker, files, {}, result, fault)) ...
//   result.document;   // compiles
//   result.policy;     // each rule that was read, with what became of it
//
// What cannot be said exactly is said stricter, or not at all, and the rule says why; the exceptions are that a signer
// is told by name here and that a path is not asked who can write there.
#pragma once

#include <span>

#include "Agent/engine/kx_publish/import/imported_rules.h"
#include "Agent/engine/kx_publish/import/path_pattern.h"

enum class EkxImportKind { AppLocker, AppControl };

struct SkxImportFile {
  std::string name;   ///< how faults and the document call it
  std::string bytes;  ///< XML
};

struct SkxImportOptions {
  SkxImportMachine machine;
  uint32_t firstId = 1;  ///< of the policies
};

struct SkxImportResult {
  SkxImportedPolicy policy;
  std::string document;
  size_t policies = 0;
};

/// All files as one policy. False with one line in `fault` that names the file.
bool KxImport(EkxImportKind kind, std::span<const SkxImportFile> files, const SkxImportOptions& options,
              SkxImportResult& result, std::string& fault);

/// What became of the rules: how many of each file, and a line for each that is not expressed exactly. Or, `isSummary`,
/// a line for each reason, with how many rules it is that of. For people.
std::string KxImport_Report(const SkxImportedPolicy& policy, bool isSummary);

struct SkxImportCounts {
  size_t exact = 0;
  size_t approximate = 0;
  size_t notExpressed = 0;

  size_t All() const { return exact + approximate + notExpressed; }
};
SkxImportCounts KxImport_Count(const SkxImportedPolicy& policy, const std::string& file);
