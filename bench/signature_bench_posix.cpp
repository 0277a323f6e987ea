// What it costs to tell who signed a program, by its size. The measure is what the system's library takes to hash the
// same file with one algorithm, in the same run.
#include <kx_util/target_info_file.h>

#include <openssl/evp.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Common_CPP/file/file.h"
#include "bench/plain_read.h"

namespace {

constexpr size_t kMebibyte = 1024 * 1024;

std::string Content(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void Put(std::string& content, size_t at, uint32_t number) {
  for (size_t i = 0; i < sizeof(number); ++i) content[at + i] = static_cast<char>(number >> (8 * i));
}

/// The smallest signed program among the seeds of the fuzz target, grown to `size` bytes in front of its signature,
/// which then does not hold: to find that out takes what it takes to find that it does.
class GrownProgram {
 public:
  explicit GrownProgram(size_t size) : _path(std::filesystem::temp_directory_path() / "kx-signature-bench.exe") {
    constexpr size_t kTableEntry = 64 + 24 + 112 + 4 * 8;
    std::string program = Content("fuzz/corpus/signature_fuzz/valid-stamped");
    if (program.size() < kTableEntry + 8) return;
    const size_t table = size_t{static_cast<unsigned char>(program[kTableEntry])} +
                         size_t{static_cast<unsigned char>(program[kTableEntry + 1])} * 256;
    program.insert(table, size, 'x');
    Put(program, kTableEntry, static_cast<uint32_t>(table + size));
    std::ofstream(_path, std::ios::binary) << program;
  }
  ~GrownProgram() {
    std::error_code ignored;
    std::filesystem::remove(_path, ignored);
  }
  GrownProgram(const GrownProgram&) = delete;
  GrownProgram& operator=(const GrownProgram&) = delete;

  KxWString Path() const { return _path.string<WCHAR>(); }

 private:
  const std::filesystem::path _path;
};

void HashByTheLibrary(const KxWString& path) {
  static std::vector<unsigned char> block(256 * 1024);
  unsigned char digest[EVP_MAX_MD_SIZE];
  CkxFileReader file;
  file.Open(path);
  EVP_MD_CTX* const context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
  uint64_t at = 0;
  for (size_t count = 1; count != 0; at += count) {
    count = file.ReadAt(at, block).value_or(0);
    EVP_DigestUpdate(context, block.data(), count);
  }
  EVP_DigestFinal_ex(context, digest, nullptr);
  EVP_MD_CTX_free(context);
  benchmark::DoNotOptimize(digest[0]);
}

void WhoSigned(benchmark::State& state) {
  const GrownProgram program(static_cast<size_t>(state.range(0)) * kMebibyte);
  const KxWString path = program.Path();
  double best = 1e300;
  double reference = 1e300;
  for (auto _ : state) {
    reference = std::min(reference, KxBench_NanosecondsOf([&] { HashByTheLibrary(path); }));
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      EkxPublisherStatus status = EkxPublisherStatus::Unknown;
                      const CkxTargetInfoFile file(path.c_str(), nullptr);
                      file.GetPublisher(false, status);
                      if (status == EkxPublisherStatus::Unknown) state.SkipWithError("nobody has looked");
                    }));
  }
  state.counters["ratio"] = best / reference;
}

}  // namespace

BENCHMARK(WhoSigned)->Arg(1)->Arg(100)->ArgName("MiB")->Unit(benchmark::kMillisecond);
