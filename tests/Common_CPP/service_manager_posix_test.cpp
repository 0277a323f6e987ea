// What a manager of services is told, over sockets of its kinds.
#include "Common_CPP/service_manager/service_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "Common_CPP/util/descriptor_posix.h"
#include "tests/support/temp_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// A variable of the environment, for the length of a scope.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : _name(name) { setenv(name, value.c_str(), 1); }
  ~Variable() { unsetenv(_name); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* const _name;
};

/// The manager's end. `address` as NOTIFY_SOCKET has it.
class Manager {
 public:
  explicit Manager(const std::string& address) : _socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un bound{};
    bound.sun_family = AF_UNIX;
    std::memcpy(bound.sun_path, address.data(), address.size());
    if (address[0] == '@') bound.sun_path[0] = 0;
    const size_t size = offsetof(sockaddr_un, sun_path) + address.size();
    EXPECT_EQ(bind(_socket.Get(), reinterpret_cast<const sockaddr*>(&bound), static_cast<socklen_t>(size)), 0);
  }

  std::vector<std::string> Told() const {
    std::vector<std::string> told;
    char bytes[4096];
    for (;;) {
      const ssize_t size = recv(_socket.Get(), bytes, sizeof(bytes), MSG_DONTWAIT);
      if (size < 0) return told;
      told.emplace_back(bytes, static_cast<size_t>(size));
    }
  }

 private:
  const CkxDescriptor _socket;
};

TEST(ServiceManager, IsToldByEitherKindOfSocket) {
  const CkxTempFolder folder;
  for (const std::string& address : {(folder.Path() / "notify").string(), "@" + KxTest_UniqueName()}) {
    SCOPED_TRACE(address);
    const Manager manager(address);
    const Variable notify("NOTIFY_SOCKET", address);
    CkxServiceManager service;
    service.Ready("2 policies");
    service.State("2 policies");
    service.State("of a folder\nREADY=0");
    service.Reloading();
    service.Beat();
    service.Stopping();
    EXPECT_THAT(manager.Told(),
                ElementsAre("READY=1\nSTATUS=2 policies",
                            testing::AllOf(StartsWith("STATUS=of a folder"), testing::Not(testing::HasSubstr("\n"))),
                            testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"), "STOPPING=1"))
        << "the same state is told once, a state is one line, and nobody waits for a beat";
  }
}

TEST(ServiceManager, HearsTheHeartOfWhomItWatches) {
  const std::string address = "@" + KxTest_UniqueName();
  const Manager manager(address);
  const Variable notify("NOTIFY_SOCKET", address);
  const std::string own = std::to_string(getpid());
  const struct {
    const char* period;  // microseconds
    std::string process;
    bool isHeard;
  } cases[] = {
      {"2", own, true}, {"2", "1", false}, {"3600000000", own, false}, {"soon", own, false}, {"-2", own, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.period + (" of " + c.process));
    const Variable period("WATCHDOG_USEC", c.period);
    const Variable process("WATCHDOG_PID", c.process);
    CkxServiceManager service;
    usleep(10);
    service.Beat();
    const auto told = manager.Told();
    EXPECT_EQ(told.size(), c.isHeard ? 1u : 0u);
    EXPECT_TRUE(told.empty() || told[0] == "WATCHDOG=1");
  }
}

/// Neither waits nor fails, whatever the address is.
TEST(ServiceManager, MayBeNobody) {
  for (const std::string& address : {std::string("/nowhere/at/all"), std::string("vsock:2:1234"), std::string("@"),
                                     "/" + std::string(200, 'x'), std::string()}) {
    const Variable notify("NOTIFY_SOCKET", address);
    CkxServiceManager service;
    service.Ready("at work");
    service.Stopping();
  }
  EXPECT_EQ(KxServiceManager_Run([] { return 1; }), std::nullopt);
}

}  // namespace
