#include <kx_util/ext_file_attributes.h>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/byte_cursor.h"

bool CkxExtFileAttributes::GetAt(POSITION position, CkxFileFullEaInfo& out, bool copy) const {
  if (position == nullptr) return false;
  const auto left = static_cast<unsigned long>(_list.size() - static_cast<size_t>(position - _list.data()));
  return copy ? out.CopyFrom(position, left) : out.Attach(position, left);
}

bool CkxExtFileAttributes::GetNext(POSITION& position, CkxFileFullEaInfo& out, bool copy) const {
  if (!GetAt(position, out, copy)) return false;
  const auto next = KxBytes_Load<uint32_t>(position);
  position = next != 0 ? position + next : nullptr;
  return true;
}
