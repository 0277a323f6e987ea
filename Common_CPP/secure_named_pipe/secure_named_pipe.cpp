#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxEncodedName = 64;  // bytes; a socket's address has room for 107, its folder included

}  // namespace

std::string KxPipe_EncodedName(CkxTextView name) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string encoded;
  if (name.Size() <= kMaxEncodedName && KxText_FindUnit(name, WCHAR{0}) == CkxTextView::npos) {
    for (const char unit : KxText_ToUtf8(name)) {
      const auto byte = static_cast<unsigned char>(unit);
      if (kPlain.find(unit) != std::string_view::npos) {
        encoded += unit;
      } else {
        encoded += {'%', kHex[byte >> 4], kHex[byte & 15]};
      }
    }
  }
  if (encoded.size() > kMaxEncodedName) encoded.clear();
  if (encoded.empty()) KxLastError_Set(kKxErrorInvalidName);
  return encoded;
}

EkxPipeResult KxSecurePipe_Connect(CkxTextView name, const SkxPipeOptions& options, CkxDeadline deadline,
                                   CkxSecurePipe& pipe) {
  pipe.Close();
  const std::string encoded = KxPipe_EncodedName(name);
  if (encoded.empty()) return EkxPipeResult::Failed;
  CkxSecurePipe connected;
  const EkxPipeResult result = KxPipe_ConnectUnchecked(encoded, options, deadline, connected);
  if (result != EkxPipeResult::Done) return result;
  const std::optional<SkxPipePeer> peer = connected.Peer();
  if (!peer || !KxPeer_IsExpectedServer(*peer, options.expected)) {
    KxLastError_Set(kKxErrorAccessDenied);
    return EkxPipeResult::WrongPeer;
  }
  pipe = std::move(connected);
  return EkxPipeResult::Done;
}
