#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/record_bytes.h"

namespace {

/// Channel 6, request "Go", client "\u00FC", image "I", signer "S.", each as UTF-16LE, body 07 08 09.
KxBytes GoldenRequest() {
  return {'K', 'X', 'R', 'Q', 2, 0, 0, 0, 6,   0, 0,   0, 4,    0, 0,   0, 2,   0, 0,   0, 2, 0, 0, 0,
          4,   0,   0,   0,   3, 0, 0, 0, 'G', 0, 'o', 0, 0xFC, 0, 'I', 0, 'S', 0, '.', 0, 7, 8, 9};
}

/// Answered with A1 A2.
KxBytes GoldenReply() { return {'K', 'X', 'R', 'P', 1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0xA1, 0xA2}; }

KxBytes ToBytes(std::span<const unsigned char> bytes) { return KxBytes(bytes.begin(), bytes.end()); }

template <class Frame>
EkxFrameState Parse(const KxBytes& bytes, size_t count, Frame& frame, size_t& more) {
  CkxExactBytes exact(bytes, count);
  const EkxFrameState state = KxFrame_Parse({exact.Data(), count}, frame, more);
  frame = Frame();  // its views die with the bytes
  return state;
}

template <class Frame>
EkxFrameState StateOf(const KxBytes& bytes) {
  Frame frame;
  size_t more = 0;
  return Parse(bytes, bytes.size(), frame, more);
}

TEST(IpcFrame, ARequestAsItGoesOverTheWire) {
  const KxBytes bytes = GoldenRequest();
  SkxRequestFrame frame;
  size_t more = 1;
  ASSERT_EQ(KxFrame_Parse(bytes, frame, more), EkxFrameState::Complete);
  EXPECT_EQ(more, 0u);
  EXPECT_EQ(frame.channel, 6u);
  EXPECT_TRUE(frame.requestName.ToString() == KXW("Go"));
  EXPECT_TRUE(frame.clientName.ToString() == KXW("\u00FC"));
  EXPECT_TRUE(frame.claim.image.ToString() == KXW("I"));
  EXPECT_TRUE(frame.claim.signer.ToString() == KXW("S."));
  EXPECT_EQ(ToBytes(frame.body), KxBytes({7, 8, 9}));
  EXPECT_EQ(KxFrame_Bytes(frame), bytes);
}

TEST(IpcFrame, AReplyAsItGoesOverTheWire) {
  const KxBytes bytes = GoldenReply();
  SkxReplyFrame frame;
  size_t more = 1;
  ASSERT_EQ(KxFrame_Parse(bytes, frame, more), EkxFrameState::Complete);
  EXPECT_EQ(more, 0u);
  EXPECT_EQ(frame.status, EkxReplyStatus::Answered);
  EXPECT_EQ(ToBytes(frame.body), KxBytes({0xA1, 0xA2}));
  EXPECT_EQ(KxFrame_Bytes(frame), bytes);
}

/// Every beginning of a frame needs more: first its header, then all of it.
template <class Frame>
void ExpectNeeds(const KxBytes& bytes, size_t header) {
  for (size_t count = 0; count < bytes.size(); ++count) {
    Frame frame;
    size_t more = 0;
    EXPECT_EQ(Parse(bytes, count, frame, more), EkxFrameState::NeedsMore) << count;
    EXPECT_EQ(count + more, count < header ? header : bytes.size()) << count;
  }
  KxBytes longer = bytes;
  longer.push_back(0);
  EXPECT_EQ(StateOf<Frame>(longer), EkxFrameState::Malformed) << "nothing comes behind it";
}

TEST(IpcFrame, ABeginningNeedsMore) {
  ExpectNeeds<SkxRequestFrame>(GoldenRequest(), 32);
  ExpectNeeds<SkxReplyFrame>(GoldenReply(), 16);
}

template <class Frame>
void ExpectStates(const std::string& file) {
  KxTest_ForRows<std::string, KxBytes, std::string>(file, [](const auto&, const auto& bytes, const auto& expected) {
    const EkxFrameState state = StateOf<Frame>(bytes);
    EXPECT_EQ(state == EkxFrameState::Complete    ? "complete"
              : state == EkxFrameState::Malformed ? "malformed"
                                                  : "needs more",
              expected);
  });
}

TEST(IpcFrame, WithinTheLimitsAndBeyond) {
  ExpectStates<SkxRequestFrame>("channel/requests.txt");
  ExpectStates<SkxReplyFrame>("channel/replies.txt");
}

TEST(IpcFrame, WhatTheOtherEndWouldRefuseIsNotWritten) {
  const KxBytes longBody(64 * 1024 + 1);
  const KxBytes longReply(16 * 1024 * 1024 + 1);
  const KxWString longName(129, KXW('n'));
  const KxWString nul(1, WCHAR{0});
  const SkxRequestFrame kRequests[] = {
      {6, {}, KXW("c"), {}, {}},
      {6, longName, {}, {}, {}},
      {6, KXW("r"), longName, {}, {}},
      {6, nul, {}, {}, {}},
      {6, KXW("r"), nul, {}, {}},
      {6, KXW("r"), {}, {longName, {}}, {}},
      {6, KXW("r"), {}, {{}, longName}, {}},
      {6, KXW("r"), {}, {nul, {}}, {}},
      {6, KXW("r"), {}, {{}, nul}, {}},
      {6, KXW("r"), {}, {}, longBody},
  };
  for (const auto& frame : kRequests) EXPECT_FALSE(KxFrame_Bytes(frame));
  EXPECT_FALSE(KxFrame_Bytes(SkxReplyFrame{EkxReplyStatus::Answered, longReply}));
  EXPECT_FALSE(KxFrame_Bytes(SkxReplyFrame{EkxReplyStatus::Failed, std::span(longReply).first(1)}));
}

}  // namespace
