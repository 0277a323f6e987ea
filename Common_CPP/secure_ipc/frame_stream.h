// Receiving one frame from a pipe. Private to this folder.
#pragma once

#include <algorithm>

#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

enum class EkxFrameReceipt : unsigned char { Done, TimedOut, Closed, Malformed };

/// Reads what the frame needs and no byte more. `bytes` grows with what has come, whatever a header claims; `frame`
/// points into it. After any other answer than `Done` `bytes` is what has come.
template <class Frame>
EkxFrameReceipt KxFrame_Receive(CkxSecurePipe& pipe, CkxDeadline deadline, std::vector<unsigned char>& bytes,
                                Frame& frame) {
  constexpr size_t kMostAtOnce = 64 * 1024;
  bytes.clear();
  size_t more = 0;
  EkxFrameState state = KxFrame_Parse(bytes, frame, more);
  while (state == EkxFrameState::NeedsMore) {
    const size_t there = bytes.size();
    size_t count = 0;
    bytes.resize(there + std::min(more, kMostAtOnce));
    const EkxPipeResult result = pipe.Read(std::span(bytes).subspan(there), deadline, count);
    bytes.resize(there + count);
    if (result == EkxPipeResult::TimedOut) return EkxFrameReceipt::TimedOut;
    if (result != EkxPipeResult::Done) return EkxFrameReceipt::Closed;
    state = KxFrame_Parse(bytes, frame, more);
  }
  return state == EkxFrameState::Complete ? EkxFrameReceipt::Done : EkxFrameReceipt::Malformed;
}
