#include "Agent/engine/kx_publish/service/client_path.h"

#include <algorithm>

#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

bool IsSeparatorAt(CkxTextView path, size_t at) { return path.Size() > at && KxPath_IsSeparator(path[at]); }

bool IsOfAnotherNameSpace(CkxTextView path) {
  return IsSeparatorAt(path, 0) && (IsSeparatorAt(path, 1) || (path.Size() > 1 && path[1] == KXW('?')));
}

/// "NUL", "com1.txt", "COM1:": names that stand for a device in whatever folder they are.
bool IsDevice(CkxTextView path) {
  constexpr const WCHAR* kDevices[] = {KXW("CON"), KXW("PRN"), KXW("AUX"), KXW("NUL"), KXW("CONIN$"), KXW("CONOUT$")};
  const KxWString file = KxPath_FileName(path).ToString();
  const CkxTextView name = KxWStringView(file).substr(0, file.find_first_of(KXW(".: ")));
  const auto isName = [&](const WCHAR* device) { return KxText_Equals(name, device, false); };
  if (std::any_of(std::begin(kDevices), std::end(kDevices), isName)) return true;
  const bool isPort =
      KxText_Equals(name.Part(0, 3), KXW("COM"), false) || KxText_Equals(name.Part(0, 3), KXW("LPT"), false);
  constexpr KxWStringView kNumbers = KXW("0123456789\u00B9\u00B2\u00B3");
  return isPort && name.Size() == 4 && kNumbers.find(name[3]) != KxWStringView::npos;
}

}  // namespace

EkxClientPath KxClientPath_KindOf(CkxTextView path) {
  if (IsOfAnotherNameSpace(path) || IsDevice(path)) return EkxClientPath::Refused;
  const bool isFromRoot = IsSeparatorAt(path, 0) || (KxPath_DriveLetter(path) != 0 && IsSeparatorAt(path, 2));
  return isFromRoot ? EkxClientPath::File : EkxClientPath::NameOnly;
}
