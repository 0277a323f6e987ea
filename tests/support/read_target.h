// Targets read from records put together by hand.
//
//   const CkxReadTarget target(Link(8, 3));
//   ASSERT_NE(target.node, nullptr);
//   EXPECT_EQ(target.As().TargetId().Data1, 8u);
#pragma once

#include <gtest/gtest.h>
#include <kx_util/shared_policy_target.h>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

/// A target with the block of its own size that it points into.
struct CkxReadTarget {
  explicit CkxReadTarget(const CkxRecordBytes& record) : CkxReadTarget(record.Bytes()) {}
  explicit CkxReadTarget(const KxBytes& record) : bytes(record), node(Read(bytes)) {}

  static std::unique_ptr<CkxShBufList::CkxNode> Read(CkxExactBytes& bytes) {
    return std::unique_ptr<CkxShBufList::CkxNode>(CkxShBufTarget::TargetFromBuffer(bytes.cursor, bytes.remaining));
  }
  template <class Target = CkxShBufTarget>
  const Target& As() const {
    return dynamic_cast<const Target&>(*node);
  }

  CkxExactBytes bytes;
  std::unique_ptr<CkxShBufList::CkxNode> node;
};

inline std::string KxTest_DebugText(const CkxRecordBytes& record) {
  const CkxReadTarget target(record);
  CkxUtilStr text;
  target.As().AppendDebugMsg(text);
  return KxText_ToUtf8(text.View());
}

/// The record is a target to its last byte, and no beginning of it is one: neither with the size of the whole nor with
/// its own. Of an obfuscated text that ends a record, up to four bytes may not be there: `slack`.
inline void KxTest_ExpectNoneShorter(const CkxRecordBytes& record, size_t slack = 0) {
  constexpr size_t kHeaderBytes = 28;
  const KxBytes bytes = record.Bytes();
  const CkxReadTarget whole(bytes);
  ASSERT_NE(whole.node, nullptr);
  SCOPED_TRACE(testing::Message() << "target of type " << static_cast<uint32_t>(whole.As().TargetType()));
  EXPECT_EQ(whole.bytes.Consumed(), bytes.size());
  for (size_t count = 0; count < bytes.size(); ++count) {
    CkxExactBytes part(bytes, count);
    EXPECT_EQ(CkxReadTarget::Read(part), nullptr) << "with the size of the whole, of " << count << " bytes";
    if (count < kHeaderBytes) continue;
    CkxExactBytes framed(bytes, count);
    framed.Data()[4] = static_cast<unsigned char>(count);
    framed.Data()[5] = static_cast<unsigned char>(count >> 8);
    EXPECT_EQ(CkxReadTarget::Read(framed) != nullptr, count >= bytes.size() - slack)
        << "with a size of its own, of " << count << " bytes";
  }
}
