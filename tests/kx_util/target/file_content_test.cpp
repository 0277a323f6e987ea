#include "Agent/engine/kx_util/target/file_content.h"

#include <gtest/gtest.h>
#include <kx_util/target_info_file.h>

#include "tests/support/memory_source.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace std::string_literals;

const struct {
  std::string beginning;
  EkxFileContent content;
} kBeginnings[] = {
    {"MZ", EkxFileContent::Program},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", EkxFileContent::CompoundFile},
    {"MSCF\0\0\0\0"s, EkxFileContent::Cabinet},
    {"MSWIM\0\0\0"s, EkxFileContent::WindowsImage},
    {"L\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46"s, EkxFileContent::Shortcut},
};

EkxFileContent ContentOf(const std::string& bytes) {
  return KxContent_Of(CkxMemorySource(KxBytes(bytes.begin(), bytes.end())));
}

TEST(FileContent, IsToldFromTheWholeBeginning) {
  for (const auto& known : kBeginnings) {
    EXPECT_EQ(ContentOf(known.beginning), known.content);
    EXPECT_EQ(ContentOf(known.beginning + std::string(100, 'x')), known.content);
    EXPECT_EQ(ContentOf(known.beginning.substr(0, known.beginning.size() - 1)), EkxFileContent::Unknown);
    EXPECT_EQ(ContentOf("x" + known.beginning), EkxFileContent::Unknown);
  }
  EXPECT_EQ(ContentOf(""), EkxFileContent::Unknown);
}

/// The kind of target that a policy knows is that of the name, as before.
TEST(FileContent, OfALiveFileIsBesideItsType) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("update.txt", "MSCF"s + std::string(100, '\0'));
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_EQ(file.Content(), EkxFileContent::Cabinet);
  EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Invalid);
  folder.Write("update.txt", "MZ");
  EXPECT_EQ(file.Content(), EkxFileContent::Cabinet);
  EXPECT_EQ(CkxTargetInfoFile(folder.Text("missing.cab").c_str(), nullptr).Content(), EkxFileContent::Unknown);
  EXPECT_EQ(CkxTargetInfoFile(SkxFileFacts(), nullptr).Content(), EkxFileContent::Unknown);
}

}  // namespace
