// Input: a record of a download's URI. One that reads is, byte for byte, what its fields make; and it is believed if
// and only if its signature is the one that is made for its URI.
#include <kx_util/src_url_data.h>

#include <algorithm>
#include <cstdlib>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"
#include "tests/support/secret_scope.h"

namespace {

using Bytes = std::vector<unsigned char>;

void Require(bool holds) {
  if (!holds) std::abort();
}

Bytes Joined(const std::string& uri, std::span<const unsigned char> signature) {
  Bytes record;
  const auto appendSize = [&record](size_t size) {
    for (int shift = 0; shift < 32; shift += 8) record.push_back(static_cast<unsigned char>(size >> shift));
  };
  appendSize(uri.size() + 1);
  record.insert(record.end(), uri.begin(), uri.end());
  record.push_back(0);
  appendSize(signature.size());
  record.insert(record.end(), signature.begin(), signature.end());
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static const CkxSecretScope secrets;
  const std::span<const unsigned char> input(data, size);
  CkxSrcUrlData read;
  CkxSrcUrlData believed;
  const bool isRead = read.FromBytes(input, EkxSignatureCheck::None);
  const bool isBelieved = believed.FromBytes(input, EkxSignatureCheck::OlderToo);
  Require(isRead || !isBelieved);
  if (!isRead) return 0;

  const Bytes joined = Joined(KxText_ToUtf8(read.Uri().View()), read.Signature());
  Require(std::equal(joined.begin(), joined.end(), data, data + size));
  bool isOurs = false;
  for (const EkxSignatureForm form : {EkxSignatureForm::Keyed, EkxSignatureForm::Older}) {
    CkxSrcUrlData made(read.Uri().View());
    Bytes record;
    if (!made.ToBytes(record, form)) continue;  // too large with that signature
    isOurs = isOurs || record == joined;
    CkxSrcUrlData again;
    Require(again.FromBytes(record, EkxSignatureCheck::OlderToo) && again.Uri() == read.Uri());
  }
  Require(isOurs == isBelieved);
  return 0;
}
