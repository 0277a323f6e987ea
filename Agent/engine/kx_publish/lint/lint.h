// Checks of a publication: what no reader would take (errors), and what reads well but cannot have been meant
// (warnings). Documents are checked as the image that they compile to: a finding names its record by the index in its
// section and its field by the path there, which is also the field's place in the document.
//
//   framing      the section ends too early, or holds something else than records
//   record       a record that no reader takes, with the first field that is at fault
//
//   unreachable  every target of the policy is taken before it, by policies for the same users
//   no-targets   the policy takes part in decisions, but has no target that anything can match; or it is about access,
//                and has no target of the kinds that access is given to
//   no-users     the policy is applicable to nobody
//   row          a row of users that can be nobody's
//   duplicate-id two records with one id, of which look-ups find the first
//   missing-group, missing-alert, alert-type      what a link names is not there, or is of another type
//   name                                          a name that does not show as it is
//   group-nesting                                 groups inside groups, deeper than is looked
//   regexp, compare-mode, version-range, sid      a test that nothing can pass
//   path-in-name, file-in-location                a folder where a name is compared, and the other way round
//   asked-always                                  of many policies, one that every decision has to ask
//   regexp-dialect, variable, control-character   a pattern that says something else than it does elsewhere
//   terminator, text-end, target-size, trailing-bytes      counts and sizes that a reader of another make may trip over
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

enum class EkxSeverity : uint8_t { Warning, Error };

struct SkxFinding {
  EkxSeverity severity;
  const char* rule;
  EkxPolicySection section;
  size_t record;     ///< index in the section
  size_t offset;     ///< bytes from the section's first
  std::string path;  ///< of the field, from the record; empty for a record or a section as a whole
  std::string message;
  std::optional<uint32_t> policyId;       ///< where the finding is about a policy
  std::optional<std::string> policyName;  ///< likewise, if it can be read
};

/// In the order of the sections and the places in them. The image's applicable rules are well-formed, as those of one
/// that was loaded are.
std::vector<SkxFinding> KxLint_Image(const SkxPolicyImage& image);

/// A row of the applicable rules that can be nobody's.
struct SkxRowFinding {
  std::string sid;
  std::string message;
};
std::vector<SkxRowFinding> KxLint_Rows(const SkxApplicableRows& rows);

/// Of the names alone, those of groups and alerts among them, which no image has.
std::vector<SkxFinding> KxLint_Names(const SkxPublication& publication);
