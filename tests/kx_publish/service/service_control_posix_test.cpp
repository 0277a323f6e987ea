// Who may ask the administrator's channel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Agent/engine/kx_publish/service/service_control.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/user_scope_posix.h"

namespace {

TEST(ServiceControlPosix, AnswersAdministratorsAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
  const CkxRuntimeFolderScope runtime;
  ASSERT_EQ(chmod(runtime.Folder().Path().c_str(), 0755), 0);
  int rollbacks = 0;
  CkxServiceControl control({[] { return SkxServiceStatus(); },
                             [&] {
                               ++rollbacks;
                               return std::string();
                             }});
  KxWString channel;
  ASSERT_TRUE(control.Start(channel));
  for (const uid_t user : {uid_t{4241}, uid_t{0}}) {
    for (const EkxServiceRequest request : {EkxServiceRequest::Status, EkxServiceRequest::Rollback}) {
      const CkxUserScope client(user);
      SkxServiceStatus status;
      std::string why;
      EXPECT_EQ(KxService_Ask(request, status, why), user == 0 ? EkxServiceReply::Status : EkxServiceReply::Refused);
      EXPECT_EQ(why.find("only an administrator") == 0, user != 0) << why;
    }
    EXPECT_EQ(rollbacks, user == 0 ? 1 : 0) << user;
  }
  control.Stop();
}

}  // namespace
