#include "Common_CPP/sharedmemory/sharedmemory.h"

#include <utility>

#include "Common_CPP/util/text.h"

bool KxSharedMemory_IsName(CkxTextView name) {
  return !name.IsEmpty() && KxText_FindUnit(name, WCHAR{0}) == CkxTextView::npos;
}

CkxSharedMemoryView::CkxSharedMemoryView(CkxSharedMemoryView&& other) noexcept
    : _bytes(std::exchange(other._bytes, {})),
      _mapping(std::exchange(other._mapping, nullptr)),
      _copy(std::move(other._copy)) {}

CkxSharedMemoryView& CkxSharedMemoryView::operator=(CkxSharedMemoryView&& other) noexcept {
  if (this == &other) return *this;
  Close();
  _bytes = std::exchange(other._bytes, {});
  _mapping = std::exchange(other._mapping, nullptr);
  _copy = std::move(other._copy);
  return *this;
}

CkxSharedMemoryView::~CkxSharedMemoryView() { Close(); }
