// kx_day [EVALUATIONS [EVERY]]: a machine for a day. So many evaluations (10,000,000), on threads that walk the live
// sections and ask the agent and on others that prepare what is in force, while another publication takes its place
// after EVERY of them (10,000), and a process that opens everything anew asks once each time. Ends with 1 when an
// answer is wrong, when there is none, or when the memory or the descriptors of this process grow.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Common_CPP/util/text.h"
#include "tests/soak/day_course.h"
#include "tests/soak/day_publications.h"
#include "tests/soak/day_readers.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

constexpr std::string_view kOnce = "--once";

/// A machine in force: the agent answers, and its publications change.
class DayMachine {
 public:
  DayMachine() {
    for (uint32_t number = 1; number <= kDayPublications; ++number) _images.push_back(KxDay_Image(number));
  }

  bool Start() {
    KxWString channel;
    _service.Serve(_images.front());
    return _service.Start(channel) && PublishNext();
  }

  bool PublishNext() {
    const SkxPolicyImage& image = _images[_published++ % _images.size()];
    std::string error;
    const bool done =
        _publication.Prepare(image, error) && _service.Replace(image, [&] { return _publication.Commit(error); });
    if (!done) std::fprintf(stderr, "kx_day: %s\n", error.c_str());
    return done;
  }
  uint64_t Published() const { return _published; }

  void Stop() {
    std::string error;
    _service.Stop();
    _publication.Unpublish(error);
  }

 private:
  std::vector<SkxPolicyImage> _images;
  CkxAgentService _service;
  CkxPolicyPublication _publication;
  uint64_t _published = 0;
};

bool AskInAProcess(const char* self, const std::string& tool) {
  const std::string once(kOnce);
  const char* const arguments[] = {self, once.c_str(), tool.c_str(), nullptr};
  pid_t child = 0;
  int status = -1;
  if (posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, const_cast<char* const*>(arguments), environ) != 0) {
    return false;
  }
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int Fail(const std::string& fault) {
  std::fprintf(stderr, "kx_day: %s\n", fault.c_str());
  return 1;
}

int RunDay(const char* self, uint64_t evaluations, uint64_t every) {
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder folder;
  const KxWString tool = folder.Write("tool.exe", "MZ");
  DayMachine machine;
  if (!machine.Start()) return Fail("the machine does not start");

  SkxDayCount count;
  CkxDayCourse course;
  CkxDayReaders readers(tool, count);
  const auto begin = std::chrono::steady_clock::now();
  const auto seconds = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(); };
  readers.Start(2, 2);
  std::string fault;
  for (uint64_t next = every; fault.empty() && next <= evaluations; next += every) {
    count.allowed = next;
    while (count.evaluations < next && readers.Fault().empty())
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    fault = readers.Fault();
    if (fault.empty() && !machine.PublishNext()) fault = "a publication failed";
    if (fault.empty() && !AskInAProcess(self, KxText_ToUtf8(tool))) fault = "a process of its own has no right answer";
    course.Note(seconds(), count.evaluations);
  }
  readers.Stop();
  const double took = seconds();
  machine.Stop();
  if (fault.empty()) fault = readers.Fault();

  std::printf("%s", course.Table(9).c_str());
  std::printf(
      "%llu evaluations in %.1f s: %llu walks, %llu by %llu prepared publications; %llu publications, each with a "
      "process of its own; %llu times they came too quickly\n",
      static_cast<unsigned long long>(count.evaluations), took, static_cast<unsigned long long>(count.walks),
      static_cast<unsigned long long>(count.evaluations - count.walks), static_cast<unsigned long long>(count.prepared),
      static_cast<unsigned long long>(machine.Published()), static_cast<unsigned long long>(count.unstable));
  if (fault.empty() && (count.walks == count.unstable || count.prepared == 0)) fault = "somebody had no turn";
  if (fault.empty()) fault = course.Growth();
  return fault.empty() ? 0 : Fail(fault);
}

bool ReadNumber(const char* text, uint64_t& number) {
  const std::string_view all(text);
  const auto [end, error] = std::from_chars(all.data(), all.data() + all.size(), number);
  return error == std::errc() && end == all.data() + all.size() && number > 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && argv[1] == kOnce) {
    const std::optional<KxWString> tool = KxText_FromUtf8(argv[2]);
    const std::string fault = tool ? KxDay_AskOnce(*tool) : "no path";
    return fault.empty() ? 0 : Fail(fault);
  }
  uint64_t evaluations = 10'000'000;
  uint64_t every = 10'000;
  const bool isUsable =
      argc <= 3 && (argc < 2 || ReadNumber(argv[1], evaluations)) && (argc < 3 || ReadNumber(argv[2], every));
  if (!isUsable) return Fail("takes the number of evaluations, and after how many another publication comes");
  return RunDay(argv[0], evaluations, every);
}
