// Whole evaluations on a machine whose policies change all the time: each answer is one publication's and not a
// mixture of the ids that apply to the user by one and the policies of another.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/clock/clock.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr int kReaders = 8;
constexpr int kPublications = 1000;

/// Both block the program of the group and elevate everything else; by the id of the policy, and of the group's target,
/// they are told apart. With the ids of one and the policies of the other the program would be elevated.
SkxPolicyImage Image(char letter) {
  const std::string target = letter == 'A' ? "0000000A" : "0000000B";
  const std::string id = letter == 'A' ? "1" : "2";
  return KxTest_Compile(
      R"({"applicationGroups": [{"name": "g", "targets": [{"type": "executable", "fileName": "tool.exe",
                             "id": "{)" +
      target + R"(-0000-0000-0000-000000000000}"}]}], "policies": [{"id": )" + id +
      R"(, "name": "p", "action": "block", "targets": [{"type": "applicationGroup", "group": "g"}]},
                           {"id": 11, "name": "all", "action": "elevate", "targets": [{"type": "executable"}]}],
                           "applicable": {"*": [)" +
      id + ", 11]}}");
}

struct Reading {
  int evaluations = 0;
  int unstable = 0;  ///< on a busy machine a reader may never be as fast as a thousand publications, and is told so
};

/// What is wrong with the answer, "" for one that is of one publication.
std::string Evaluate(void* token, Reading& reading) {
  const CkxTargetInfoFile tool(KxTest_FileAt(KXW("C:\\tool.exe")), token);
  SkxTriggerPolicyShortInfo info;
  if (!CkxSharedPoliciesData::GetTargetPolicyAction(tool, info)) {
    if (KxUtil_LastFault() != EkxEvaluationFault::PublicationUnstable) return "no answer";
    ++reading.unstable;
    return "";
  }
  if (info.PolicyAction != EkxPolicyAction::Block) return "elevated";
  const uint32_t target = info.PolicyTargetId.Data1;
  const bool isOfOne = (info.PolicyId == 1 && target == 0xA) || (info.PolicyId == 2 && target == 0xB);
  return isOfOne ? "" : "an answer of two publications";
}

/// Evaluates until `go` says that it is over; what is wrong with the first answer that should not be, or "".
template <class Go>
std::string Read(Go go, Reading& reading) {
  const CkxClockScope untimed([] { return int64_t{0}; });  // a walk may be slow on a busy machine, which is traced
  CkxAccessToken user(*CkxSid::FromUtf8("S-1-5-21-1-2-3-4"), {}, false);
  std::string fault;
  for (; fault.empty() && go(); ++reading.evaluations) fault = Evaluate(user.Handle(), reading);
  return fault;
}

/// A machine in force: the agent answers, and its publications change.
class Machine {
 public:
  void SetUp() {
    KxWString channel;
    _service.Serve(_images[0]);
    ASSERT_TRUE(_service.Start(channel));
    Change(_images[0]);
  }
  void ChangeAllTheTime() {
    for (int i = 1; i <= kPublications; ++i) Change(_images[i % 2]);
  }
  void TearDown() {
    std::string error;
    _service.Stop();
    EXPECT_TRUE(_publication.Unpublish(error)) << error;
  }

 private:
  void Change(const SkxPolicyImage& image) {
    std::string error;
    EXPECT_TRUE(_publication.Prepare(image, error) && _service.Replace(image, [&] {
      return _publication.Commit(error);
    })) << error;
  }

  const SkxPolicyImage _images[2] = {Image('A'), Image('B')};
  CkxAgentService _service;
  CkxPolicyPublication _publication;
};

/// What a reader's process ends with: 0 is well.
int ReadInChild(int begin, int end) {
  CkxTraceCapture trace;
  char byte = 0;
  if (read(begin, &byte, 1) != 1) return 4;
  Reading reading;
  const auto go = [end] {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(end, &set);
    timeval now = {0, 0};
    return select(end + 1, &set, nullptr, nullptr, &now) == 0;  // closed: it is over
  };
  const std::string fault = Read(go, reading);
  if (!fault.empty()) return fault == "no answer" ? 1 : 2;
  return (trace.Lines().empty() || reading.unstable > 0) && reading.evaluations > reading.unstable ? 0 : 3;
}

TEST(LiveStress, EightProcessesEvaluateWhilePoliciesChange) {
  const CkxRuntimeFolderScope runtime;
  int begin[2];
  int end[2];
  ASSERT_EQ(pipe(begin), 0);
  ASSERT_EQ(pipe(end), 0);
  pid_t readers[kReaders];
  for (pid_t& reader : readers) {  // before there is any thread
    reader = fork();
    ASSERT_GE(reader, 0);
    if (reader != 0) continue;
    close(begin[1]);
    close(end[1]);
    _exit(ReadInChild(begin[0], end[0]));
  }
  close(begin[0]);
  close(end[0]);
  const std::string go(kReaders, 'x');
  {
    Machine machine;
    machine.SetUp();
    ASSERT_EQ(write(begin[1], go.data(), go.size()), kReaders);
    machine.ChangeAllTheTime();
    close(end[1]);
    for (const pid_t reader : readers) {
      int status = 0;
      ASSERT_EQ(waitpid(reader, &status, 0), reader);
      EXPECT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 0) << "1: no answer, 2: elevated, or a mixture, 3: a trace line or no evaluation";
    }
    machine.TearDown();
  }
  close(begin[1]);
  for (const auto& entry : std::filesystem::directory_iterator(runtime.Folder().Path())) {
    EXPECT_EQ(entry.path().extension(), ".lock") << entry.path() << ": only the channels' empty locks stay";
  }
}

TEST(LiveStress, EightThreadsEvaluateWhilePoliciesChange) {
  const CkxRuntimeFolderScope runtime;
  CkxTraceCapture trace;
  Machine machine;
  machine.SetUp();
  std::atomic<bool> over = false;
  std::vector<std::string> faults(kReaders);
  std::vector<Reading> readings(kReaders);
  std::vector<std::thread> readers;
  for (size_t i = 0; i < kReaders; ++i) {
    readers.emplace_back([&, i] { faults[i] = Read([&] { return !over; }, readings[i]); });
  }
  machine.ChangeAllTheTime();
  over = true;
  for (std::thread& reader : readers) reader.join();
  for (size_t i = 0; i < kReaders; ++i) {
    EXPECT_EQ(faults[i], "");
    EXPECT_GT(readings[i].evaluations, readings[i].unstable);
  }
  EXPECT_EQ(trace.Texts(), std::vector<std::string>());
  machine.TearDown();
}

}  // namespace
