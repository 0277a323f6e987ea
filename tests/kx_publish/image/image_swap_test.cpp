// An image that is compiled again while others read it: what they read is one of the two, and never a mixture.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_file.h>

#include <chrono>
#include <thread>

#include "Agent/engine/kx_publish/image/image_source.h"
#include "Common_CPP/file/held_folder.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/policy_documents.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

/// Both block everything: without its rows, or with those of the other one, either decides something else.
SkxPolicyImage Image(const std::string& id) {
  const std::string targets = R"("targets": [{"type": "executable"}]})";
  return KxTest_Compile(R"({"policies": [{"id": 11, "name": "E", "action": "elevate", )" + targets + R"(, {"id": )" +
                        id + R"(, "name": "B", "action": "block", )" + targets + R"(], "applicable": {"*": [)" + id +
                        "]}}");
}

EkxPolicyAction Decision(SkxPolicyImage image) {
  const CkxImageSource source(std::move(image));
  const CkxPolicySourceScope scope(source);
  SkxFileFacts facts;
  facts.path = KXW("C:\\tool.exe");
  SkxTriggerPolicyShortInfo info;
  const bool applies = CkxSharedPoliciesData::GetTargetPolicyAction(CkxTargetInfoFile(facts, nullptr), info);
  return applies ? info.PolicyAction : EkxPolicyAction::Invalid;
}

TEST(ImageSwap, AReaderNeverMeetsAMixture) {
  constexpr int kLoads = 2000;  // or as many as fit into the time
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  const CkxTraceCapture quiet;
  const CkxTempFolder temp;
  const KxWString folder = temp.Text("image");
  const SkxPolicyImage images[] = {Image("1"), Image("2")};
  std::string error;
  ASSERT_TRUE(KxPolicyImage_Write(folder, images[0], error)) << error;
  const bool inOneStep = KxFolder_Exchange(folder, folder) || KxLastError_Get() != 50;

  std::atomic<bool> over = false;
  std::string writersError;
  std::thread writer([&] {
    for (size_t i = 1; !over && KxPolicyImage_Write(folder, images[i % 2], writersError); ++i) {
    }
  });
  int loaded = 0;
  for (int i = 0; i < kLoads && !HasFailure() && std::chrono::steady_clock::now() < end; ++i) {
    SkxPolicyImage image;
    if (!KxPolicyImage_Load(folder, image, error)) {
      EXPECT_FALSE(inOneStep) << error << ": there is always one of the two";
      continue;
    }
    ++loaded;
    EXPECT_EQ(Decision(std::move(image)), EkxPolicyAction::Block);
  }
  over = true;
  writer.join();
  EXPECT_EQ(writersError, "");
  EXPECT_GT(loaded, 0);
  EXPECT_TRUE(KxPolicyImage_Write(folder, images[0], error)) << error;
  EXPECT_EQ(temp.Count(), 1u) << "also what a reader had kept in its place is gone now";
}

}  // namespace
