// Input: UTF-16LE text of three lines, a path, a location pattern and a list of types. The last may be missing.
#include <kx_util/kx_util.h>

#include <algorithm>
#include <cstdlib>

#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/text.h"

namespace {

/// Each letter has its type; every fourth drive is mapped.
class LetterMachine : public IkxMachineFacts {
 public:
  EkxDriveType DriveType(WCHAR letter) const override { return EkxDriveType{letter % 8u}; }
  std::optional<KxWString> MappedShare(WCHAR letter) const override {
    if (letter % 4 != 0) return std::nullopt;
    return KXW("\\\\srv\\share");
  }
};

KxWString TakeLine(CkxTextView& text) {
  const size_t end = KxText_FindUnit(text, KXW('\n'));
  const CkxTextView line = text.Part(0, end);
  text = text.Part(end == CkxTextView::npos ? text.Size() : end + 1);
  return line.ToString();
}

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const LetterMachine machine;
  const CkxMachineFactsScope scope(machine);
  CkxTextView text = CkxTextView::FromBytes(data, size);
  const KxWString path = TakeLine(text);
  const KxWString pattern = TakeLine(text);
  const KxWString types = TakeLine(text);

  const auto matches = [&](const KxWString& spelled, bool withSubfolders) {
    return KxUtil_MatchFileLocation(CkxSimplePathProvider(spelled.c_str()), types, pattern, withSubfolders);
  };
  const bool inside = matches(path, true);
  Require(inside || !matches(path, false));
  if (inside) Require(KxUtil_MatchFileLocationTypes(CkxSimplePathProvider(path.c_str()), types));

  // Some letters fold into ASCII; they name no drive for that.
  if (!path.empty() && path[0] < 0x80) {
    KxWString capitals = path;
    std::transform(path.begin(), path.end(), capitals.begin(), KxText_Fold);
    Require(matches(capitals, true) == inside);
  }

  // Past a drive's root the kind of separator says nothing; at the front it tells a share.
  if (path.size() > 3 && path[1] == KXW(':') && path[2] == KXW('\\')) {
    KxWString slashes = path;
    std::replace(slashes.begin(), slashes.end(), KXW('\\'), KXW('/'));
    Require(matches(slashes, true) == inside);
  }
  return 0;
}
