#include "Common_CPP/secure_ipc/frame.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

/// Magic and version.
using Start = std::array<unsigned char, 8>;
constexpr Start kRequestStart = {'K', 'X', 'R', 'Q', 2, 0, 0, 0};
constexpr Start kReplyStart = {'K', 'X', 'R', 'P', 1, 0, 0, 0};

struct SkxRequestHeader {
  Start start;
  uint32_t channel;
  uint32_t requestNameBytes;
  uint32_t clientNameBytes;
  uint32_t imageBytes;
  uint32_t signerBytes;
  uint32_t bodyBytes;

  static constexpr const Start& kStart = kRequestStart;
  bool IsAcceptable() const {
    return requestNameBytes != 0 && IsName(requestNameBytes) && IsName(clientNameBytes) && IsName(imageBytes) &&
           IsName(signerBytes) && bodyBytes <= kKxFrameMaxRequestBody;
  }
  size_t FollowingBytes() const {
    return size_t{requestNameBytes} + clientNameBytes + imageBytes + signerBytes + bodyBytes;
  }

 private:
  static bool IsName(uint32_t bytes) { return bytes <= kKxFrameMaxName && bytes % sizeof(WCHAR) == 0; }
};
static_assert(sizeof(SkxRequestHeader) == 32);

struct SkxReplyHeader {
  Start start;
  EkxReplyStatus status;
  uint32_t bodyBytes;

  static constexpr const Start& kStart = kReplyStart;
  bool IsAcceptable() const {
    return bodyBytes <= kKxFrameMaxReplyBody && (bodyBytes == 0 || status == EkxReplyStatus::Answered);
  }
  size_t FollowingBytes() const { return bodyBytes; }
};
static_assert(sizeof(SkxReplyHeader) == 16);

/// Up to the point where the frame's parts are known to be there. A wrong start is refused from its first wrong byte
/// on.
template <class Header>
EkxFrameState ParseHeader(std::span<const unsigned char> bytes, Header& header, size_t& more) {
  more = 0;
  const auto start = bytes.first(std::min(bytes.size(), Header::kStart.size()));
  if (!std::equal(start.begin(), start.end(), Header::kStart.begin())) return EkxFrameState::Malformed;
  size_t size = sizeof(Header);
  if (bytes.size() >= size) {
    header = KxBytes_Load<Header>(bytes.data());
    if (!header.IsAcceptable()) return EkxFrameState::Malformed;
    size += header.FollowingBytes();
  }
  if (bytes.size() > size) return EkxFrameState::Malformed;
  more = size - bytes.size();
  return more == 0 ? EkxFrameState::Complete : EkxFrameState::NeedsMore;
}

/// Takes a name off the front of `rest`. False when there is a NUL in it.
bool TakeName(std::span<const unsigned char>& rest, uint32_t byteCount, CkxTextView& name) {
  name = CkxTextView::FromBytes(rest.data(), byteCount);
  rest = rest.subspan(byteCount);
  return name.Size() * sizeof(WCHAR) == byteCount;
}

bool IsName(CkxTextView name) {
  return name.Size() * sizeof(WCHAR) <= kKxFrameMaxName && KxText_FindUnit(name, WCHAR{0}) == CkxTextView::npos;
}

template <class Part>
void Append(std::vector<unsigned char>& bytes, const Part& part) {
  bytes.insert(bytes.end(), part.begin(), part.end());
}

std::span<const unsigned char> BytesOf(CkxTextView text) { return {text.Bytes(), text.Size() * sizeof(WCHAR)}; }

template <class Header>
std::span<const unsigned char> BytesOf(const Header& header) {
  return {reinterpret_cast<const unsigned char*>(&header), sizeof(header)};
}

}  // namespace

EkxFrameState KxFrame_Parse(std::span<const unsigned char> bytes, SkxRequestFrame& frame, size_t& more) {
  SkxRequestHeader header{};
  const EkxFrameState state = ParseHeader(bytes, header, more);
  if (state != EkxFrameState::Complete) return state;
  SkxRequestFrame parsed;
  std::span<const unsigned char> rest = bytes.subspan(sizeof(header));
  const bool named = TakeName(rest, header.requestNameBytes, parsed.requestName) &&
                     TakeName(rest, header.clientNameBytes, parsed.clientName) &&
                     TakeName(rest, header.imageBytes, parsed.claim.image) &&
                     TakeName(rest, header.signerBytes, parsed.claim.signer);
  if (!named) return EkxFrameState::Malformed;
  parsed.channel = header.channel;
  parsed.body = rest;
  frame = parsed;
  return EkxFrameState::Complete;
}

EkxFrameState KxFrame_Parse(std::span<const unsigned char> bytes, SkxReplyFrame& frame, size_t& more) {
  SkxReplyHeader header{};
  const EkxFrameState state = ParseHeader(bytes, header, more);
  if (state == EkxFrameState::Complete) frame = {header.status, bytes.subspan(sizeof(header))};
  return state;
}

std::optional<std::vector<unsigned char>> KxFrame_Bytes(const SkxRequestFrame& frame) {
  if (frame.requestName.IsEmpty() || !IsName(frame.requestName) || !IsName(frame.clientName) ||
      !IsName(frame.claim.image) || !IsName(frame.claim.signer) || frame.body.size() > kKxFrameMaxRequestBody) {
    return std::nullopt;
  }
  const auto requestName = BytesOf(frame.requestName);
  const auto clientName = BytesOf(frame.clientName);
  const auto image = BytesOf(frame.claim.image);
  const auto signer = BytesOf(frame.claim.signer);
  const auto count = [](std::span<const unsigned char> part) { return static_cast<uint32_t>(part.size()); };
  const SkxRequestHeader header{kRequestStart, frame.channel, count(requestName), count(clientName),
                                count(image),  count(signer), count(frame.body)};
  std::vector<unsigned char> bytes;
  bytes.reserve(sizeof(header) + header.FollowingBytes());
  Append(bytes, BytesOf(header));
  Append(bytes, requestName);
  Append(bytes, clientName);
  Append(bytes, image);
  Append(bytes, signer);
  Append(bytes, frame.body);
  return bytes;
}

std::optional<std::vector<unsigned char>> KxFrame_Bytes(const SkxReplyFrame& frame) {
  if (frame.body.size() > kKxFrameMaxReplyBody) return std::nullopt;
  const SkxReplyHeader header{kReplyStart, frame.status, static_cast<uint32_t>(frame.body.size())};
  if (!header.IsAcceptable()) return std::nullopt;
  std::vector<unsigned char> bytes;
  bytes.reserve(sizeof(header) + frame.body.size());
  Append(bytes, BytesOf(header));
  Append(bytes, frame.body);
  return bytes;
}
