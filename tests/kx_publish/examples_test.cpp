// The examples that people start from: they read, and decide what they say they do.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include <fstream>

#include "Agent/engine/kx_publish/encode.h"
#include "Agent/engine/kx_publish/image_source.h"
#include "Agent/engine/kx_publish/policy_document.h"
#include "Agent/engine/kx_publish/target_document.h"

namespace {

std::ifstream Open(const char* path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path << ": tests run at the root of the sources";
  return file;
}

/// An example target's id begins with the number of the policy that is to decide, or with "-".
std::string Expected(const CkxTargetDocument& target) {
  return target.IdJson().substr(1, target.IdJson().find(' ') - 1);
}

TEST(Examples, TheWorkstationDecidesAsItsTargetsSay) {
  std::ifstream policies = Open("examples/workstation/policies.jsonc");
  const SkxDocumentText document{"policies.jsonc", std::string(std::istreambuf_iterator<char>(policies), {})};
  SkxPublication publication;
  SkxDocumentError error;
  ASSERT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << error.Text();
  EXPECT_GE(publication.policies.size(), 12u);

  const CkxImageSource source(KxEncode_Image(publication));
  const CkxPolicySourceScope scope(source);
  std::ifstream targets = Open("examples/workstation/targets.jsonl");
  int decided = 0;
  for (std::string line; std::getline(targets, line);) {
    const CkxTargetDocument target = CkxTargetDocument::Parse(line);
    const CkxMachineFactsScope machine(target.Machine());
    SkxTriggerPolicyShortInfo info;
    const bool matched = CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info);
    EXPECT_EQ(matched ? std::to_string(info.PolicyId) : "-", Expected(target)) << line;
    ++decided;
  }
  EXPECT_GE(decided, 10);
}

}  // namespace
