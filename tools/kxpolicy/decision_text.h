// A decision as a person reads it: a row of a table, and beneath it how the decision came about.
#pragma once

#include <string>

struct SkxDecision;

/// One row of the table, and its heading. `what` is how the person calls the target.
std::string KxDecision_TableHeading();
std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what);

/// The explanation as indented text; empty without one.
std::string KxDecision_ExplanationText(const SkxDecision& decision);
