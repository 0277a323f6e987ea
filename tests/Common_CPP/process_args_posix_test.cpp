#include <gmock/gmock.h>

#include "Common_CPP/util/process_args.h"

namespace {

TEST(ProcessArguments, AreWhatFollowsTheName) {
  char name[] = "program";
  char first[] = "-x";
  char second[] = "\xC3\xA4 b";
  char* arguments[] = {name, first, second, nullptr};
  EXPECT_THAT(KxProcess_Arguments(3, arguments), testing::ElementsAre("-x", "\xC3\xA4 b"));
  EXPECT_THAT(KxProcess_Arguments(1, arguments), testing::IsEmpty());
  EXPECT_THAT(KxProcess_Arguments(0, arguments + 3), testing::IsEmpty()) << "a caller need not give a name";
}

}  // namespace
