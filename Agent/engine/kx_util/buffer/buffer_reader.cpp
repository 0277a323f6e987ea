#include "Agent/engine/kx_util/buffer/buffer_reader.h"

#include <algorithm>

bool CkxBufReader::Sid(CkxSid& sid) {
  uint32_t count = 0;
  if (!PeekU32(count) || count > _remaining) return false;
  const size_t present = std::min<size_t>(count, _remaining - sizeof(count));

  if (count == 0) {
    sid = CkxSid::Null();
  } else {
    unsigned char bytes[CkxSid::kMaxBytes] = {};  // what is not there reads as 0; what is beyond no SID needs
    std::memcpy(bytes, _cursor + sizeof(count), std::min(present, sizeof(bytes)));
    sid = CkxSid::FromBytes(bytes, std::min<size_t>(count, sizeof(bytes)));
  }
  Advance(sizeof(count) + present);
  return true;
}
