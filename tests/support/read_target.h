// Targets read from records put together by hand.
//
//   const CkxReadTarget target(Link(8, 3));
//   ASSERT_NE(target.node, nullptr);
//   EXPECT_EQ(target.As().TargetId().Data1, 8u);
#pragma once

#include <gtest/gtest.h>
#include <kx_util/shared_policy_target.h>

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
