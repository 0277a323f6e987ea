// A decision as an answer in JSON: whole, or of the members that somebody asked for.
#pragma once

#include <cstdint>
#include <string>

struct SkxDecision;

/// A bit for each member of an answer, in the order in which they are written. The id, an error and what `--explain`
/// asks for have none: they are always there.
using KxDecisionMembers = uint32_t;
inline constexpr KxDecisionMembers kKxAllMembers = ~KxDecisionMembers{0};

/// Whether a policy applies, which, and what it does: enough to act on, and to look the rest up.
inline constexpr const char* kKxBriefMembers = "matched,policyId,action";

/// The members that `list` names between commas. What names none of an answer's is a `CkxDocumentFault`.
KxDecisionMembers KxDecisionMembers_Of(const std::string& list);

/// One line, without a line end.
std::string KxDecision_ToJson(const SkxDecision& decision, KxDecisionMembers members);
