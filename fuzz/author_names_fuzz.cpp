// Input: a names.json. What is read of it is written and read again as the same.
#include <cstdlib>

#include "Agent/engine/kx_publish/document/author_names.h"
#include "Agent/engine/kx_publish/document/json_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  try {
    const CkxAuthorNames names = CkxAuthorNames::Parse(std::string(reinterpret_cast<const char*>(data), size));
    const std::string written = names.Write();
    if (CkxAuthorNames::Parse(written).Write() != written) std::abort();
  } catch (const CkxDocumentFault&) {  // no such document
  }
  return 0;
}
