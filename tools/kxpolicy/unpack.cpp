#include "tools/kxpolicy/unpack.h"

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <limits>
#include <new>

namespace {

/// The first bytes of packed data, but for bits that differ.
struct PackedMark {
  KxFirstBytes bytes;
  KxFirstBytes bits;
  std::unique_ptr<IkxUnpacker> (*make)();
};

class GzipUnpacker : public IkxUnpacker {
 public:
  GzipUnpacker() {
    constexpr int kWithGzipHeader = 16 + MAX_WBITS;
    if (inflateInit2(&_state, kWithGzipHeader) != Z_OK) throw std::bad_alloc();
  }
  ~GzipUnpacker() override { inflateEnd(&_state); }
  GzipUnpacker(const GzipUnpacker&) = delete;
  GzipUnpacker& operator=(const GzipUnpacker&) = delete;

  const char* Name() const override { return "gzip"; }

  SkxUnpacked Unpack(std::span<const char> packed, std::span<char> room) override {
    _state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));  // it only reads
    _state.avail_in = Size(packed.size());
    _state.next_out = reinterpret_cast<Bytef*>(room.data());
    _state.avail_out = Size(room.size());
    const uInt packedSize = _state.avail_in;
    const uInt roomSize = _state.avail_out;
    const int result = inflate(&_state, Z_NO_FLUSH);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    const bool isNoProgress = result == Z_BUF_ERROR;
    if (result != Z_OK && result != Z_STREAM_END && !isNoProgress) throw CkxUnpackFault("the gzip data is damaged");
    const SkxUnpacked unpacked = {packedSize - _state.avail_in, roomSize - _state.avail_out, result == Z_STREAM_END};
    if (unpacked.isWhole) inflateReset(&_state);  // another one may follow
    return unpacked;
  }

 private:
  static uInt Size(size_t size) { return static_cast<uInt>(std::min<size_t>(size, std::numeric_limits<uInt>::max())); }

  z_stream _state = {};
};

class ZstdUnpacker : public IkxUnpacker {
 public:
  ZstdUnpacker() : _state(ZSTD_createDCtx()) {
    constexpr int kLogOfMaxWindow = 27;
    if (_state == nullptr) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(_state.get(), ZSTD_d_windowLogMax, kLogOfMaxWindow);
  }

  const char* Name() const override { return "zstd"; }

  SkxUnpacked Unpack(std::span<const char> packed, std::span<char> room) override {
    ZSTD_inBuffer in = {packed.data(), packed.size(), 0};
    ZSTD_outBuffer out = {room.data(), room.size(), 0};
    const size_t result = ZSTD_decompressStream(_state.get(), &out, &in);
    if (ZSTD_isError(result) != 0) Throw(ZSTD_getErrorCode(result));
    return {in.pos, out.pos, result == 0};
  }

 private:
  struct Free {
    void operator()(ZSTD_DCtx* state) const { ZSTD_freeDCtx(state); }
  };

  [[noreturn]] static void Throw(ZSTD_ErrorCode code) {
    if (code == ZSTD_error_memory_allocation) throw std::bad_alloc();
    if (code == ZSTD_error_frameParameter_windowTooLarge) {
      throw CkxUnpackFault("the zstd data needs a window of more than 128 MiB");
    }
    if (code == ZSTD_error_dictionary_wrong) throw CkxUnpackFault("the zstd data needs a dictionary");
    throw CkxUnpackFault("the zstd data is damaged");
  }

  const std::unique_ptr<ZSTD_DCtx, Free> _state;
};

template <class Unpacker>
std::unique_ptr<IkxUnpacker> Make() {
  return std::make_unique<Unpacker>();
}

constexpr PackedMark kMarks[] = {
    {{0x1F, 0x8B, 0x08, 0}, {0xFF, 0xFF, 0xFF, 0}, Make<GzipUnpacker>},
    {{0x28, 0xB5, 0x2F, 0xFD}, {0xFF, 0xFF, 0xFF, 0xFF}, Make<ZstdUnpacker>},
    {{0x50, 0x2A, 0x4D, 0x18}, {0xF0, 0xFF, 0xFF, 0xFF}, Make<ZstdUnpacker>},  // a piece to be skipped
};

bool Fits(const PackedMark& mark, std::span<const unsigned char> bytes) {
  for (size_t i = 0; i < bytes.size(); ++i) {
    if ((bytes[i] & mark.bits[i]) != mark.bytes[i]) return false;
  }
  return true;
}

}  // namespace

bool KxUnpacker_MayBegin(std::span<const unsigned char> bytes) {
  return std::any_of(std::begin(kMarks), std::end(kMarks), [&](const PackedMark& mark) { return Fits(mark, bytes); });
}

std::unique_ptr<IkxUnpacker> KxUnpacker_For(const KxFirstBytes& bytes) {
  for (const PackedMark& mark : kMarks) {
    if (Fits(mark, bytes)) return mark.make();
  }
  return nullptr;
}
