// Paths of other systems' rules: "%PROGRAMFILES%\Vendor\*". Their "*" stands for any run of units, separators included,
// and a variable for folders of the machine.
#pragma once

#include "Agent/engine/kx_publish/import/imported_rules.h"
#include "Agent/engine/kx_publish/model/target_model.h"

/// Where the machines that the document is for have their system: what a document says is said without variables.
struct SkxImportMachine {
  KxWString systemDrive = KXW("C:");
};

/// What a variable stands for, as the beginning of a path; several places are alternatives.
struct SkxPathVariable {
  const WCHAR* name;  ///< "%WINDIR%"
  std::vector<SkxPathPattern> places;
};

/// The patterns of a path; or nothing, with the reason.
std::optional<std::vector<SkxPathPattern>> KxPathPattern_Expand(CkxTextView path,
                                                                const std::vector<SkxPathVariable>& variables,
                                                                std::string& reason);

/// Whether each path of `inner` is certainly one of `outer`; whether no path can be of both.
bool KxPathPattern_Covers(const SkxPathPattern& outer, const SkxPathPattern& inner);
bool KxPathPattern_NeverMeet(const SkxPathPattern& a, const SkxPathPattern& b);

/// What targets ask of a file in place of the pattern for its path; no text is one that is not asked for.
struct SkxFilePlace {
  std::optional<SkxLocationTest> location;
  KxWString fileName;
};

/// Alternatives that together mean the pattern: targets ask for folder and name apart, and which separator of the path
/// is the last depends on what the asterisks stand for.
std::vector<SkxFilePlace> KxPathPattern_Places(const SkxPathPattern& pattern);
