#include <gtest/gtest.h>

#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace {

constexpr uint32_t k3GiB = 0xC0000000;

CkxRecordBytes Magic(std::string_view magic, uint32_t version = 1) {
  CkxRecordBytes bytes;
  for (const char letter : magic) bytes.U8(static_cast<unsigned char>(letter));
  return bytes.U32(version);
}

/// A request's header, whose lengths are what they claim to be.
CkxRecordBytes RequestHeader(uint32_t name, uint32_t client, uint32_t body, uint32_t image = 0, uint32_t signer = 0) {
  return Magic("KXRQ", 2).U32(6).U32(name).U32(client).U32(image).U32(signer).U32(body);
}

CkxRecordBytes ReplyHeader(uint32_t status, uint32_t body) { return Magic("KXRP").U32(status).U32(body); }

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

TEST(IpcFrame, RequestsWithinTheLimitsAndBeyond) {
  const struct {
    const char* name;
    CkxRecordBytes bytes;
    EkxFrameState expected;
  } kCases[] = {
      {"the shortest", RequestHeader(2, 0, 0).U16('x'), EkxFrameState::Complete},
      {"longest names", RequestHeader(256, 256, 0, 256, 256).Append(KxBytes(1024, 1)), EkxFrameState::Complete},
      {"longest body", RequestHeader(2, 0, 65536).U16('x').Zeros(65536), EkxFrameState::Complete},
      {"body too long", RequestHeader(2, 0, 65537), EkxFrameState::Malformed},
      {"3 GiB of body", RequestHeader(2, 0, k3GiB), EkxFrameState::Malformed},
      {"lengths whose sum wraps", RequestHeader(2, 0xFFFFFFFE, 0xFFFFFFFF), EkxFrameState::Malformed},
      {"claims whose sum wraps", RequestHeader(2, 0, 0, 0x80000000, 0x80000000), EkxFrameState::Malformed},
      {"half a unit of image", RequestHeader(2, 0, 0, 1), EkxFrameState::Malformed},
      {"half a unit of signer", RequestHeader(2, 0, 0, 0, 3), EkxFrameState::Malformed},
      {"image too long", RequestHeader(2, 0, 0, 258), EkxFrameState::Malformed},
      {"signer too long", RequestHeader(2, 0, 0, 0, 258), EkxFrameState::Malformed},
      {"NUL in the image", RequestHeader(2, 0, 0, 2).U16('x').U16(0), EkxFrameState::Malformed},
      {"NUL in the signer", RequestHeader(2, 0, 0, 0, 2).U16('x').U16(0), EkxFrameState::Malformed},
      {"no request name", RequestHeader(0, 2, 0), EkxFrameState::Malformed},
      {"half a unit of request name", RequestHeader(3, 0, 0), EkxFrameState::Malformed},
      {"request name too long", RequestHeader(258, 0, 0), EkxFrameState::Malformed},
      {"half a unit of client name", RequestHeader(2, 1, 0), EkxFrameState::Malformed},
      {"client name too long", RequestHeader(2, 258, 0), EkxFrameState::Malformed},
      {"NUL in the request name", RequestHeader(4, 0, 0).U16('x').U16(0), EkxFrameState::Malformed},
      {"NUL in the client name", RequestHeader(2, 2, 0).U16('x').U16(0), EkxFrameState::Malformed},
      {"a reply", Magic("KXRP"), EkxFrameState::Malformed},
      {"a wrong first byte, alone", Magic("k", 0), EkxFrameState::Malformed},
      {"an earlier version, and no more", Magic("KXRQ", 1), EkxFrameState::Malformed},
      {"a version that looks the same in its first byte", Magic("KXRQ", 0x01000002), EkxFrameState::Malformed},
  };
  for (const auto& test : kCases) EXPECT_EQ(StateOf<SkxRequestFrame>(test.bytes.Bytes()), test.expected) << test.name;
}

TEST(IpcFrame, RepliesWithinTheLimitsAndBeyond) {
  const struct {
    const char* name;
    CkxRecordBytes bytes;
    EkxFrameState expected;
  } kCases[] = {
      {"empty", ReplyHeader(0, 0), EkxFrameState::Complete},
      {"longest", ReplyHeader(0, 16777216).Zeros(16777216), EkxFrameState::Complete},
      {"too long", ReplyHeader(0, 16777217), EkxFrameState::Malformed},
      {"3 GiB", ReplyHeader(0, k3GiB), EkxFrameState::Malformed},
      {"refused", ReplyHeader(3, 0), EkxFrameState::Complete},
      {"refused for an unknown reason", ReplyHeader(0xFFFFFFFF, 0), EkxFrameState::Complete},
      {"refused, and with a body", ReplyHeader(1, 1), EkxFrameState::Malformed},
      {"a request", Magic("KXRQ"), EkxFrameState::Malformed},
  };
  for (const auto& test : kCases) EXPECT_EQ(StateOf<SkxReplyFrame>(test.bytes.Bytes()), test.expected) << test.name;
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
