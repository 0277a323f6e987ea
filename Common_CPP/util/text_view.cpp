#include "Common_CPP/util/text_view.h"

#include "Common_CPP/util/text.h"

CkxTextView CkxTextView::FromBytes(const void* bytes, size_t byteCount) {
  CkxTextView counted;
  counted._bytes = static_cast<const unsigned char*>(bytes);
  counted._units = bytes == nullptr ? 0 : byteCount / sizeof(WCHAR);
  return counted.Part(0, KxText_FindUnit(counted, WCHAR{}));
}
