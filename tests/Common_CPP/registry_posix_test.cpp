#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "Common_CPP/registry/registry.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

TEST(RegistryPosix, BelievesNoFileThatOthersCouldWriteAndNoneThatIsNot) {
  const CkxRuntimeFolderScope scope;
  ASSERT_TRUE(KxRegistry_SetNumber(KXW("Software\\Test"), KXW("Status"), 7));
  const std::string file = (scope.Folder().Path() / "REGISTRY%5CSOFTWARE%5CTEST%5CSTATUS").string();
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0644u) << "whoever evaluates may read it";
  const auto number = [] { return KxRegistry_Number(KXW("Software\\Test"), KXW("Status")); };

  for (const char* const content : {"", "number:", "number:7 ", "number:-1", "number:4294967296", "text:7"}) {
    std::ofstream(file, std::ios::trunc) << content;
    EXPECT_FALSE(number()) << content;
  }
  std::ofstream(file, std::ios::trunc) << "number:9";
  EXPECT_EQ(number(), 9u);
  std::ofstream(file, std::ios::trunc) << "number:9" << std::string(70000, '0');
  EXPECT_FALSE(number());

  std::ofstream(file, std::ios::trunc) << "number:9";
  ASSERT_EQ(chmod(file.c_str(), 0666), 0);
  const CkxTraceCapture trace;
  EXPECT_FALSE(number());
  EXPECT_EQ(trace.Lines().size(), 1u);

  ASSERT_EQ(unlink(file.c_str()), 0);
  ASSERT_EQ(mkfifo(file.c_str(), 0644), 0);
  EXPECT_FALSE(number()) << "and does not wait for a writer";
}

}  // namespace
