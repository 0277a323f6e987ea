// Input: the identifier of a file (8 bytes), then a document of the agent. What is read is signed for that file and
// then holds there and for no other; and what was not signed by the key never holds.
#include <cstdlib>

#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/secret_scope.h"

#include <kx_util/file_origin.h>

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static const CkxSecretScope secrets;
  if (size < sizeof(uint64_t)) return 0;
  const auto fileId = KxBytes_Load<uint64_t>(data);
  const std::string_view document(reinterpret_cast<const char*>(data) + sizeof(fileId), size - sizeof(fileId));

  CkxFileOrigin origin;
  const auto read = [&](std::string_view text, uint64_t id, EkxSignatureCheck check) {
    return CkxSupFileDataUtil::OriginFromStr(text, id, check, origin);
  };
  Require(!read(document, fileId, EkxSignatureCheck::OlderToo) || read(document, fileId, EkxSignatureCheck::None));
  if (!read(document, fileId, EkxSignatureCheck::None)) return 0;
  std::string text;
  if (!CkxSupFileDataUtil::OriginToStr(origin, fileId, text)) return 0;  // too large with its signature
  Require(read(text, fileId, EkxSignatureCheck::KeyedAlone));
  Require(!read(text, fileId + 1, EkxSignatureCheck::KeyedAlone));
  std::string again;
  Require(CkxSupFileDataUtil::OriginToStr(origin, fileId, again) && again == text);
  return 0;
}
