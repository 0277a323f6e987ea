#include <gtest/gtest.h>

#include "Common_CPP/util/message_box.h"

namespace {

TEST(MessageBox, IsALineOnStandardErrorWhereThereAreNone) {
  testing::internal::CaptureStderr();
  KxMessageBox_Show(nullptr, KXW("Title"), KXW("t\u00E9xt"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Title: t\u00E9xt\n");
}

}  // namespace
