// The command without memory: whichever allocation fails, once or from then on, it says so in one line and ends with 4,
// or it has not needed it; nothing is left half written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/trace_capture.h"

namespace {

/// Allocations of this thread that still succeed, and whether those after the first failed one do again.
struct Allocations {
  size_t left;
  bool onlyOne;
};
constinit thread_local Allocations allocations = {SIZE_MAX, true};

constinit thread_local bool* starved = nullptr;  // set once an allocation has failed

void* Allocate(size_t size) {
  if (allocations.left == 0) {
    *starved = true;
    if (allocations.onlyOne) allocations.left = SIZE_MAX;
    if (const std::new_handler handler = std::get_new_handler()) handler();
    throw std::bad_alloc();
  }
  if (allocations.left != SIZE_MAX) --allocations.left;
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void* AllocateOrNull(size_t size) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

/// Writes through to a descriptor, without memory of its own.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int descriptor) : _descriptor(descriptor) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    return write(_descriptor, text, static_cast<size_t>(size));
  }
  int_type overflow(int_type unit) override {
    const char byte = traits_type::to_char_type(unit);
    return xsputn(&byte, 1) == 1 ? unit : traits_type::eof();
  }

 private:
  const int _descriptor;
};

/// In the child: the command as its main runs it.
[[noreturn]] void RunInChild(const std::vector<std::string>& arguments, std::istream& in, Allocations given,
                             bool* isStarved) {
  DescriptorBuffer outBuffer(STDOUT_FILENO);
  DescriptorBuffer errBuffer(STDERR_FILENO);
  std::ostream out(&outBuffer);
  std::ostream err(&errBuffer);
  SkxStreams streams = {in, out, err};
  KxTool_EndWithoutMemory();
  starved = isStarved;
  allocations = given;
  _exit(KxPolicy_Run(arguments, streams));
}

/// A process of its own, since one that has no memory to take things down with ends at once.
class Attempts {
 public:
  Attempts()
      : _isStarved(static_cast<bool*>(mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  ~Attempts() { munmap(_isStarved, 1); }

  SkxToolRun Run(const std::vector<std::string>& arguments, const std::string& input, Allocations given) {
    const std::string out = KxTest_PathText(_folder.Path() / "out");
    const std::string err = KxTest_PathText(_folder.Path() / "err");
    std::istringstream in(input);
    *_isStarved = false;
    const pid_t child = fork();
    if (child == 0) {
      dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
      dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      RunInChild(arguments, in, given, _isStarved);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), _folder.Read("out"), _folder.Read("err")};
  }
  bool IsStarved() const { return *_isStarved; }  ///< whether an allocation of the last one failed

 private:
  const CkxTempFolder _folder;
  bool* const _isStarved;
};

TEST(OutOfMemory, IsOneLineAndAnExitCode) {
  const CkxTraceCapture quiet;
  const CkxTempFolder work;
  const std::string document = KxTest_PathText(work.Path() / "d.json");
  work.Write("d.json", R"({"policies": [{"id": 1, "name": "A", "action": "block",
                           "targets": [{"type": "executable", "fileName": "a.exe"}]}], "applicable": {"*": [1]}})");
  const std::string image = KxTest_PathText(work.Path() / "image");
  const struct {
    std::vector<std::string> arguments;
    std::string input;
  } kCases[] = {
      {{"compile", document, "-o", image}, ""},
      {{"check", document}, ""},
      {{"check", image}, ""},
      {{"show", image}, ""},
      {{"show", image, "--format", "json"}, ""},
      {{"eval", image, "--target", "-", "--format", "json", "--explain"}, R"({"kind":"process","path":"C:\\a.exe"})"},
      {{"match"}, R"({"id":1,"op":"str","mode":5,"pattern":"a+","subject":"aa"})"},
      {{"record", "tokendata", std::string(60, '0')}, ""},
  };
  Attempts attempts;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.arguments[0]);
    const SkxToolRun whole = attempts.Run(test.arguments, test.input, {SIZE_MAX, true});
    ASSERT_EQ(whole.code, 0) << whole.err;
    size_t failures = 0;
    for (const bool onlyOne : {true, false}) {
      for (size_t count = 0;; count += 1 + count / 12) {  // each of the first ones, then ever fewer
        const SkxToolRun run = attempts.Run(test.arguments, test.input, {count, onlyOne});
        if (!attempts.IsStarved()) break;
        ++failures;
        const bool isWhole = run.code == whole.code && run.out == whole.out && run.err == whole.err;
        const bool isTold = run.code == 4 && run.err == "kxpolicy: out of memory\n";
        ASSERT_TRUE(isWhole || isTold) << count << ": " << run.code << " " << run.out << run.err;
      }
    }
    EXPECT_GT(failures, 50u);
    EXPECT_EQ(KxTest_RunTool({"check", image}).out, "no findings\n") << "nothing is half written";
  }
}

}  // namespace
