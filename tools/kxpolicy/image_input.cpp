#include "tools/kxpolicy/image_input.h"

#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

SkxPolicyImage KxImage_Load(const std::string& path) {
  SkxPolicyImage image;
  std::string error = path + ": is not UTF-8";
  const std::optional<KxWString> folder = KxText_FromUtf8(path);
  if (!folder || !KxPolicyImage_Load(*folder, image, error)) throw CkxToolFault(EkxExit::UnusableInput, error);
  return image;
}
