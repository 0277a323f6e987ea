// Texts that a condition accepts, the plainest first. Each was tried by the matcher that decisions use.
#pragma once

#include <span>

#include "Agent/engine/kx_publish/model/target_model.h"

using KxTexts = std::vector<KxWString>;

/// Of a pattern, by its way of comparing. The empty text among them, where it is accepted, comes last.
KxTexts KxAccepted_Texts(const SkxTextTest& test);

/// A pattern with "*" and "?" filled in several ways.
KxTexts KxAccepted_Fillings(const KxWString& pattern);

/// The bounds of a range as texts, then what lies beside them: "1.2.0.0".
KxTexts KxAccepted_Versions(const SkxVersionBounds& bounds);
