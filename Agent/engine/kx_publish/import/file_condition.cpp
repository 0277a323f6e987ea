#include "Agent/engine/kx_publish/import/file_condition.h"

#include <algorithm>

#include "Agent/engine/kx_publish/import/path_pattern.h"
#include "Common_CPP/util/text.h"

namespace {

bool IsSameText(const KxWString& a, const KxWString& b) { return KxText_Equals(a, b, false); }

bool IsSameHash(const SkxImportedHash& a, const SkxImportedHash& b) {
  return a.algorithm == b.algorithm && a.hex == b.hex;
}

bool IsAnySigner(const std::vector<KxWString>& signers) {
  return std::find(signers.begin(), signers.end(), kKxAnySigner) != signers.end();
}

const KxWString* TextNamed(const SkxFileCondition& condition, const KxWString& name) {
  for (const SkxNamedText& text : condition.texts) {
    if (IsSameText(text.name, name)) return &text.text;
  }
  return nullptr;
}

bool CoversSigners(const std::vector<KxWString>& outer, const std::vector<KxWString>& inner) {
  if (outer.empty()) return true;
  if (inner.empty()) return false;
  if (IsAnySigner(outer)) return true;
  return std::all_of(inner.begin(), inner.end(), [&](const KxWString& name) {
    return std::any_of(outer.begin(), outer.end(), [&](const KxWString& known) { return IsSameText(known, name); });
  });
}

bool CoversTexts(const SkxFileCondition& outer, const SkxFileCondition& inner) {
  return std::all_of(outer.texts.begin(), outer.texts.end(), [&](const SkxNamedText& asked) {
    const KxWString* const text = TextNamed(inner, asked.name);
    return text != nullptr && IsSameText(*text, asked.text);
  });
}

/// Whether an optional part that is asked for by `outer` is asked for by `inner` too, so that `covers(both)`.
template <class Part, class Covers>
bool CoversPart(const std::optional<Part>& outer, const std::optional<Part>& inner, Covers covers) {
  return !outer || (inner && covers(*outer, *inner));
}

/// The one that is there, or the narrower one of two; false where neither is known to be that.
template <class Part, class Covers>
bool Narrower(const std::optional<Part>& a, const std::optional<Part>& b, Covers covers, std::optional<Part>& both) {
  if (!a || (b && covers(*a, *b))) {
    both = b;
    return true;
  }
  both = a;
  return !b || covers(*b, *a);
}

}  // namespace

bool KxFileCondition_Covers(const SkxFileCondition& outer, const SkxFileCondition& inner) {
  const bool coversVersions = outer.minVersion <= inner.minVersion && inner.maxVersion <= outer.maxVersion;
  return CoversPart(outer.path, inner.path, KxPathPattern_Covers) && CoversPart(outer.hash, inner.hash, IsSameHash) &&
         CoversPart(outer.packageName, inner.packageName, IsSameText) && CoversSigners(outer.signers, inner.signers) &&
         CoversTexts(outer, inner) && coversVersions && (!outer.isOfNoProgram || inner.isOfNoProgram);
}

// Signers do not tell files apart: one file may have several.
bool KxFileCondition_NeverMeet(const SkxFileCondition& a, const SkxFileCondition& b) {
  if (a.path && b.path && KxPathPattern_NeverMeet(*a.path, *b.path)) return true;
  if (a.hash && b.hash && a.hash->algorithm == b.hash->algorithm && a.hash->hex != b.hash->hex) return true;
  if (a.packageName && b.packageName && !IsSameText(*a.packageName, *b.packageName)) return true;
  if (a.minVersion > b.maxVersion || b.minVersion > a.maxVersion) return true;
  return std::any_of(a.texts.begin(), a.texts.end(), [&](const SkxNamedText& asked) {
    const KxWString* const text = TextNamed(b, asked.name);
    return text != nullptr && !IsSameText(*text, asked.text);
  });
}

std::optional<SkxFileCondition> KxFileCondition_Both(const SkxFileCondition& a, const SkxFileCondition& b) {
  SkxFileCondition both = a;
  if (!Narrower(a.path, b.path, KxPathPattern_Covers, both.path)) return std::nullopt;
  if (!Narrower(a.hash, b.hash, IsSameHash, both.hash)) return std::nullopt;
  if (!Narrower(a.packageName, b.packageName, IsSameText, both.packageName)) return std::nullopt;
  if (CoversSigners(a.signers, b.signers)) {
    both.signers = b.signers;
  } else if (!CoversSigners(b.signers, a.signers)) {
    return std::nullopt;
  }
  both.isOfNoProgram = a.isOfNoProgram || b.isOfNoProgram;
  both.minVersion = std::max(a.minVersion, b.minVersion);
  both.maxVersion = std::min(a.maxVersion, b.maxVersion);
  for (const SkxNamedText& text : b.texts) {
    if (TextNamed(a, text.name) == nullptr) both.texts.push_back(text);
  }
  return KxFileCondition_NeverMeet(a, b) ? std::nullopt : std::optional(std::move(both));
}
