// Lists of extended attributes from arbitrary bytes: a list that is taken is walked to its end within its bytes, each
// record is taken alone too and copied as it is, and the list that the records make is the same again.
#include <kx_util/ext_file_attributes.h>

#include <algorithm>
#include <cstdlib>

#include "Common_CPP/file/ea_record.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void RequireAlone(std::span<const unsigned char> bytes, const SkxEaRecord& record) {
  CkxFileFullEaInfo copy;
  Require(copy.CopyFrom(bytes.data(), static_cast<unsigned long>(bytes.size())));
  Require(copy.Name() == record.name && copy.Flags() == record.flags && copy.Size() == record.Size());
  Require(std::equal(record.value.begin(), record.value.end(), copy.Value(), copy.Value() + copy.ValueLength()));
  Require(!copy.Attach(bytes.data(), static_cast<unsigned long>(bytes.size() - 1)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::vector<unsigned char> list(data, data + size);
  KxEaQuery_Name(list);
  const bool isWhole = KxEaList_IsWellFormed(list);
  Require(!isWhole || KxEaRecord_Read(list).has_value());
  if (!isWhole) return 0;
  std::vector<unsigned char> again;
  size_t last = 0;
  size_t count = 0;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, std::span<const unsigned char> bytes) {
    RequireAlone(bytes, record);
    last = KxEaList_Append(again, last, record);
    ++count;
    return true;
  });
  Require(KxEaList_IsWellFormed(again) && again.size() <= list.size());
  KxEaList_ForEach(again, [&](const SkxEaRecord&, std::span<const unsigned char>) { return count-- != 0; });
  Require(count == 0);
  return 0;
}
