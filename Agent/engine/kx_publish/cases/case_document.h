// Case files: targets, with the decision that is expected of each (docs/cases.schema.json), comments allowed. One is
// told from a policy document by its member "cases".
//
//   {"cases": [{"name": "A game", "target": {"kind": "file", "path": "C:\\solitaire.exe"}, "expect": "block"},
//              {"target": {"kind": "file"}, "rows": [{"path": "C:\\a.exe"}, {"path": "C:\\b.exe"}], "expect": "none"},
//              {"events": "week.jsonl", "where": {"signers": [{"name": "Ours"}]}, "expectNot": "block"}]}
//
// A row is the target with the row's members in place of its own: objects are merged, null takes a member out.
#pragma once

#include <vector>

#include "Agent/engine/kx_publish/cases/expectation.h"
#include "Agent/engine/kx_publish/cases/target_filter.h"
#include "Agent/engine/kx_publish/document/target_document.h"

struct SkxCaseTarget {
  CkxTargetDocument document;
  std::string pointer;  ///< to where the case file has it
};

/// The recorded targets of a file, one a line.
struct SkxCaseEvents {
  std::string file;  ///< as the case file names it: from its own folder; "-" is standard input
  CkxTargetFilter where;
  uint64_t atLeast = 1;  ///< targets that `where` has to take: a filter that takes none proves nothing
};

/// One expectation, about targets or about events; at least one of `expect` and `expectNot` is there.
struct SkxCase {
  std::string name;     ///< empty: it has none
  std::string pointer;  ///< to the case
  std::vector<SkxCaseTarget> targets;
  std::optional<SkxCaseEvents> events;
  std::optional<SkxExpectation> expect;
  std::optional<SkxExpectation> expectNot;
};

/// Whether JSON that was read is meant to be a case file.
bool KxCaseDocument_IsOne(const nlohmann::json& json);

/// The cases of such a file, all targets read. A fault is a `CkxDocumentFault`.
std::vector<SkxCase> KxCaseDocument_Read(const nlohmann::json& json);

/// How a person calls a target: its id, else its path.
std::string KxCaseTarget_Name(const CkxTargetDocument& target);
