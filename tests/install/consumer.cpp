#include <kx_util/version.h>

int main() {
  const SkxVersion version = SkxVersion::Parse(KXW("1.2.3.4"));
  return version.IsEqual(1, 2, 3, 4) ? 0 : 1;
}
