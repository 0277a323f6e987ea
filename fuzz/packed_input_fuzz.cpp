// Input: bytes as a verb may be given them, packed or not. They are read to their end, or refused with a place; and
// what is packed here is read as it was.
#include <zlib.h>
#include <zstd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>

#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr size_t kEnoughBytes = size_t{1} << 20;  // of what a few may unpack to

std::string ReadBytes(const std::string& bytes) {
  std::istringstream raw(bytes);
  CkxInput input("-", raw);
  std::string read;
  char block[1000];
  while (read.size() < kEnoughBytes && (input.Stream().read(block, sizeof(block)), input.Stream().gcount() > 0)) {
    read.append(block, static_cast<size_t>(input.Stream().gcount()));
  }
  return read;
}

std::string PackedByGzip(const std::string& bytes) {
  z_stream state = {};
  if (deflateInit2(&state, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) std::abort();
  std::string packed(deflateBound(&state, bytes.size()), '\0');
  state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  state.avail_in = static_cast<uInt>(bytes.size());
  state.next_out = reinterpret_cast<Bytef*>(packed.data());
  state.avail_out = static_cast<uInt>(packed.size());
  if (deflate(&state, Z_FINISH) != Z_STREAM_END) std::abort();
  packed.resize(state.total_out);
  deflateEnd(&state);
  return packed;
}

std::string PackedByZstd(const std::string& bytes) {
  std::string packed(ZSTD_compressBound(bytes.size()), '\0');
  packed.resize(ZSTD_compress(packed.data(), packed.size(), bytes.data(), bytes.size(), 1));
  return packed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  try {
    ReadBytes(bytes);
  } catch (const CkxToolFault& fault) {
    if (fault.Code() != EkxExit::UnusableInput) std::abort();
    if (std::strstr(fault.what(), "standard input:") != fault.what()) std::abort();
  }
  const std::string twice = bytes + bytes;
  if (twice.size() > kEnoughBytes) return 0;
  if (ReadBytes(PackedByGzip(bytes) + PackedByGzip(bytes)) != twice) std::abort();
  if (ReadBytes(PackedByZstd(bytes) + PackedByZstd(bytes)) != twice) std::abort();
  return 0;
}
