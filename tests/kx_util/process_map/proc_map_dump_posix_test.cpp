// The map as a text, in a zone of the test's own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/text.h"
#include "tests/support/recorded_proc_map_system.h"

namespace {

class ZoneScope {
 public:
  explicit ZoneScope(const char* zone) : _before(getenv("TZ") != nullptr ? getenv("TZ") : "") { setenv("TZ", zone, 1); }
  ~ZoneScope() { _before.empty() ? unsetenv("TZ") : setenv("TZ", _before.c_str(), 1); }
  ZoneScope(const ZoneScope&) = delete;
  ZoneScope& operator=(const ZoneScope&) = delete;

 private:
  const std::string _before;
};

std::string DumpIn(const char* zone) {
  const ZoneScope scope(zone);
  CkxUtilStr text;
  EXPECT_TRUE(KxUtilProcMap_GetDump(text));
  return KxText_ToUtf8(text.View());
}

TEST(ProcMapDump, IsToTheLetter) {
  CkxTestProcMapSystem system;
  const CkxRecordedProcMap map(system);
  const CkxProcMapScope scope(map);
  system.creationTime = KxFileTime_FromUnix(86399, 999'999'999);  // the last moment of a day
  ASSERT_TRUE(KxUtilProcMap_OnProcessStart(10, 4, 5, KXW("C:\\\x00C4.exe"), {}, {}, 1, 0xAB));
  system.creationTime = KxFileTime_FromUnix(90061, 0);
  ASSERT_TRUE(KxUtilProcMap_OnProcessStart(4294967295, 10, 6, {}, KXW("C:\\"), KXW("b \"x\""), 2));
  system.services = KXW("Appinfo");
  system.realParentPid = 7;
  ASSERT_TRUE(KxUtilProcMap_UpdateParentInfo(4294967295, 10, 6));
  ASSERT_TRUE(KxUtilProcMap_SetProctionHandle(4294967295, &system, KXW("C:\\keep.dat")));
  system.now = KxFileTime_FromUnix(93784, 0);
  ASSERT_TRUE(KxUtilProcMap_OnProcessEnd(10));
  EXPECT_EQ(
      DumpIn("UTC0"),
      "*** Process Map start ***\r\n"
      " ** 1 running processes. **\r\n"
      "  ** PID=-1, SessionId=2, ParentPID=10, ParentTID=6, ParentPidReal=7, DrvFlags=0x00000000, "
      "ParentSvcName=Appinfo, CreationTime=01:01:01, ExitTime=00:00:00, ParentCreationTime=23:59:59, ChildCount=0, "
      "ProtectedFile=C:\\keep.dat\r\n"
      "     Path, RunPath and CmdLine: [<NULL>] [C:\\] [b \"x\"]\r\n"
      "\r\n"
      " ** 1 exited processes. **\r\n"
      "  ** PID=10, SessionId=1, ParentPID=4, ParentTID=5, ParentPidReal=0, DrvFlags=0x000000AB, "
      "ParentSvcName=<NULL>, CreationTime=23:59:59, ExitTime=02:03:04, ParentCreationTime=00:00:00, ChildCount=1, "
      "ProtectedFile=<NULL>\r\n"
      "     Path, RunPath and CmdLine: [C:\\\xC3\x84.exe] [<NULL>] [<NULL>]\r\n"
      "*** Process Map end ***\r\n");
  const std::string inTheEast = DumpIn("EAST-05:30");
  EXPECT_NE(inTheEast.find("CreationTime=06:31:01, ExitTime=00:00:00, ParentCreationTime=05:29:59"), std::string::npos)
      << inTheEast;
}

}  // namespace
