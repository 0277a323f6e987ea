// Input: what tells of a storage device: a byte that selects who tells, then the reply of Windows or the list of
// mounts.
#include <cstdlib>
#include <vector>

#include "Common_CPP/file/media_tree_posix.h"
#include "Common_CPP/file/storage_descriptor.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void RequireBounded(const std::optional<KxWString>& text) {
  Require(!text || (!text->empty() && text->size() <= kKxMaxDeviceText));
}

void ReadDescriptor(const unsigned char* data, size_t size) {
  const std::vector<unsigned char> reply(data, data + size);  // its own, so that reads beyond show
  const auto device = KxStorage_ReadDescriptor(reply);
  if (!device) return;
  RequireBounded(device->vendor);
  RequireBounded(device->product);
  RequireBounded(device->serialNumber);
}

void ReadMounts(std::string_view text) {
  for (const uint64_t id : {uint64_t{0}, uint64_t{1}, uint64_t{27}, uint64_t{90}}) {
    const auto from = KxMountInfo_Find(text, id);
    Require(!from || from->source.size() < text.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  if (data[0] % 2 == 0) {
    ReadDescriptor(data + 1, size - 1);
  } else {
    ReadMounts({reinterpret_cast<const char*>(data) + 1, size - 1});
  }
  return 0;
}
