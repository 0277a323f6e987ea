// Tests of files whose attributes are the system's own, where it keeps any, and of files whose are the fake's,
// everywhere:
//
//   class Files : public CkxEaFixture {
//     void SetUp() override {
//       CkxEaFixture::SetUp();
//       if (!IsSkipped()) _folder->Write("file", "content");
//     }
//   };
//   INSTANTIATE_TEST_SUITE_P(Of, Files, kKxTestEaKinds, CkxEaFixture::NameOf);
#pragma once

#include <gtest/gtest.h>

#include "tests/support/ea_folder.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/temp_folder.h"

inline const auto kKxTestEaKinds = testing::Values("System", "Fake");

class CkxEaFixture : public testing::TestWithParam<const char*> {
 public:
  static std::string NameOf(const testing::TestParamInfo<const char*>& test) { return test.param; }

 protected:
  void SetUp() override {
    if (std::string_view(GetParam()) == "Fake") {
      _fake.emplace();
      _folder.emplace();
    } else if (const auto folder = KxTest_EaFolder()) {
      _folder.emplace(*folder);
    } else {
      GTEST_SKIP() << "no file system here keeps attributes of 64 KiB";
    }
  }

  std::optional<CkxFakeNativeEa> _fake;
  std::optional<CkxTempFolder> _folder;
};
