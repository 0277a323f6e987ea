// The two messages of a call: a request, and the reply to it. All numbers are u32.
//
//   request            0 "KXRQ"                  reply      0 "KXRP"
//                      4 version, 2                         4 version, 1
//                      8 channel                            8 status, 0 when the request was answered
//                     12 bytes of request name             12 bytes of body, none unless the status is 0
//                     16 bytes of client name              16 body
//                     20 bytes of client's image
//                     24 bytes of client's signer
//                     28 bytes of body
//                     32 request name, client name, client's image, client's signer, body
//
// Image and signer say which program the client is, as it claims itself: they prove nothing.
//
// Names are UTF-16LE without a terminator and without a NUL; the request's is not empty. A length beyond its limit
// makes a frame malformed as soon as the header is there, so that nobody waits or makes room for what it claims.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/util/text_view.h"

inline constexpr size_t kKxFrameMaxName = 256;                    ///< bytes
inline constexpr size_t kKxFrameMaxRequestBody = 64 * 1024;       ///< bytes
inline constexpr size_t kKxFrameMaxReplyBody = 16 * 1024 * 1024;  ///< bytes

/// What became of a request. A number that is not listed is a refusal too.
enum class EkxReplyStatus : uint32_t {
  Answered = 0,
  NoSuchRequest = 1,  ///< nobody handles that name on that channel
  UnknownCaller = 2,  ///< the server cannot tell whose request it is
  Failed = 3,         ///< the handler has no answer
};

/// Which program the client claims to be. The texts lie in the frame's bytes, as those below, and die with them.
struct SkxClientClaim {
  CkxTextView image;
  CkxTextView signer;
};

struct SkxRequestFrame {
  uint32_t channel = 0;
  CkxTextView requestName;
  CkxTextView clientName;
  SkxClientClaim claim;
  std::span<const unsigned char> body;
};

struct SkxReplyFrame {
  EkxReplyStatus status = EkxReplyStatus::Answered;
  std::span<const unsigned char> body;
};

enum class EkxFrameState : unsigned char { NeedsMore, Malformed, Complete };

/// Looks at all the bytes of a frame that there are, and at no other. `more` is how many the frame needs at least:
/// never more than the limits allow, and 0 unless the answer is `NeedsMore`. A frame with something behind it is
/// malformed. `frame` is set only when it is complete.
EkxFrameState KxFrame_Parse(std::span<const unsigned char> bytes, SkxRequestFrame& frame, size_t& more);
EkxFrameState KxFrame_Parse(std::span<const unsigned char> bytes, SkxReplyFrame& frame, size_t& more);

/// The bytes of a frame; nothing when the other end would find it malformed.
std::optional<std::vector<unsigned char>> KxFrame_Bytes(const SkxRequestFrame& frame);
std::optional<std::vector<unsigned char>> KxFrame_Bytes(const SkxReplyFrame& frame);
