// What hashing a file costs, by the number of algorithms that one read computes. The measure is a plain read of the
// same file, block by block, in the same run.
#include <filesystem>
#include <fstream>

#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "bench/plain_read.h"

namespace {

constexpr uint64_t kBytes = 64 * 1024 * 1024;
constexpr SkxFileDigest kDigests[] = {{EkxHashAlgorithm::Sha256},
                                      {EkxHashAlgorithm::Sha1},
                                      {EkxHashAlgorithm::Md5},
                                      {EkxHashAlgorithm::Sha384},
                                      {EkxHashAlgorithm::Sha512}};

/// A file of `kBytes` bytes, gone at the end of the scope.
class LargeFile {
 public:
  LargeFile() : _path(std::filesystem::temp_directory_path() / "kx-hash-bench") {
    std::ofstream(_path, std::ios::binary) << std::string(kBytes, 'x');
  }
  ~LargeFile() {
    std::error_code ignored;
    std::filesystem::remove(_path, ignored);
  }
  LargeFile(const LargeFile&) = delete;
  LargeFile& operator=(const LargeFile&) = delete;

  KxWString Path() const { return _path.string<WCHAR>(); }

 private:
  const std::filesystem::path _path;
};

double PlainFileReadNanoseconds(const CkxFileReader& file) {
  std::vector<unsigned char> block(256 * 1024);
  double best = 1e300;
  for (int i = 0; i < 10; ++i) {
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      for (uint64_t at = 0; at < kBytes; at += block.size()) {
                        file.ReadAt(at, block);
                        benchmark::DoNotOptimize(KxBench_PlainRead(block));
                      }
                    }));
  }
  return best;
}

void HashFile(benchmark::State& state) {
  const LargeFile large;
  CkxFileReader file;
  if (!file.Open(large.Path())) return state.SkipWithError("no file");
  const auto algorithms = std::span(kDigests).first(static_cast<size_t>(state.range(0)));
  double best = 1e300;
  for (auto _ : state) {
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      const auto goOn = [](uint64_t) { return true; };
                      if (KxFileDigest_Read(file, kBytes, {}, algorithms, goOn).size() != algorithms.size())
                        state.SkipWithError("no hash");
                    }));
  }
  state.counters["ratio"] = best / PlainFileReadNanoseconds(file);
}

}  // namespace

BENCHMARK(HashFile)->Arg(1)->Arg(2)->Arg(5)->ArgName("algorithms")->Unit(benchmark::kMillisecond);
