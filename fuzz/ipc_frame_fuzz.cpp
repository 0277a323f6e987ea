// Both ends' frames from arbitrary bytes, as they arrive piece by piece and as a whole: both ways agree, nobody is
// asked to wait for more than the limits allow, and a complete frame is written again as the same bytes.
#include <algorithm>
#include <cstdlib>

#include "Common_CPP/secure_ipc/frame.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

/// In a block of exactly their size, so that a read of one too many is seen.
template <class Frame>
EkxFrameState ParseCopy(std::span<const unsigned char> bytes, size_t& more) {
  const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
  Frame frame;
  const EkxFrameState state = KxFrame_Parse(exact, frame, more);
  Require((more != 0) == (state == EkxFrameState::NeedsMore));
  if (state == EkxFrameState::Complete) Require(KxFrame_Bytes(frame) == exact);
  return state;
}

/// As a reader takes it: what is needed, and then again.
template <class Frame>
void Arrive(std::span<const unsigned char> bytes, size_t limit) {
  size_t more = 0;
  const EkxFrameState whole = ParseCopy<Frame>(bytes, more);
  size_t there = 0;
  EkxFrameState state = ParseCopy<Frame>({}, more);
  while (state == EkxFrameState::NeedsMore && more <= bytes.size() - there) {
    there += more;
    state = ParseCopy<Frame>(bytes.first(there), more);
    Require(there + more <= limit);
  }
  if (whole == EkxFrameState::Complete) Require(state == whole && there == bytes.size());
  if (whole == EkxFrameState::NeedsMore) Require(state == whole);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  Arrive<SkxRequestFrame>({data, size}, 32 + 4 * kKxFrameMaxName + kKxFrameMaxRequestBody);
  Arrive<SkxReplyFrame>({data, size}, 16 + kKxFrameMaxReplyBody);
  return 0;
}
