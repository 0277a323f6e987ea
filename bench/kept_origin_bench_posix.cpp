// What it costs to read and verify what is kept with files: the origins of 10,000 of them, in what it takes to open
// each file and get the same attribute, beside what of that is the parser's and the digest's alone; and a decision by
// who signed a file where that is kept, in one where it is not.
#include <fcntl.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/secret_provider.h>
#include <kx_util/supplemental_file_data.h>
#include <sys/xattr.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "Common_CPP/crypto/hmac.h"
#include "bench/plain_read.h"

namespace {

constexpr size_t kFiles = 10000;

/// A memory file system: what is measured is not a disk.
const std::filesystem::path kMemoryFolder = "/dev/shm";

class OneKey : public IkxSecretProvider {
 public:
  bool Key(unsigned number, CkxSecret& key) const noexcept override {
    static constexpr unsigned char kBytes[kKxMinKeyBytes] = {};
    return number == 0 && key.Assign(kBytes);
  }
  bool PassPhrase(CkxSecret& /*phrase*/) const noexcept override { return false; }
};

class FilesWithOrigins {
 public:
  explicit FilesWithOrigins(const std::filesystem::path& parent) : _folder(parent / "kx-origin-bench") {
    std::filesystem::create_directories(_folder);
    CkxFileOrigin origin;
    SkxFileSrcProcessFacts facts;
    facts.path = KXW("C:\\Program Files\\Vendor\\setup.exe");
    facts.wellKnown = KXW("chrome");
    origin.Installer().Processes().emplace_back(std::move(facts));
    const CkxSupplementalFileData data(origin);
    for (size_t i = 0; i < kFiles; ++i) {
      _native.push_back((_folder / std::to_string(i)).string());
      _wide.push_back((_folder / std::to_string(i)).string<WCHAR>());
      std::ofstream(_native.back()) << "content";
      _isKept = data.ToFile(_wide.back().c_str()) && _isKept;
    }
  }
  ~FilesWithOrigins() {
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
  }
  FilesWithOrigins(const FilesWithOrigins&) = delete;
  FilesWithOrigins& operator=(const FilesWithOrigins&) = delete;

  bool IsKept() const { return _isKept; }
  const std::vector<std::string>& Native() const { return _native; }
  const std::vector<KxWString>& Wide() const { return _wide; }

 private:
  const std::filesystem::path _folder;
  std::vector<std::string> _native;
  std::vector<KxWString> _wide;
  bool _isKept = true;
};

/// Opens a file and gets what is kept with it; the value.
std::string_view KeptValue(const std::string& path, std::span<char> buffer) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t size = fgetxattr(file, "user.KXAGENTSUPDATA", buffer.data(), buffer.size());
  close(file);
  return {buffer.data(), size > 1 ? static_cast<size_t>(size - 1) : 0};  // without its zero
}

/// What this thread and the system on its behalf have worked: so many files take long enough for others to be given
/// the processor meanwhile.
template <class Work>
double ThreadNanosecondsOf(Work work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
  };
  const double start = now();
  work();
  return now() - start;
}

void ReadKeptOrigins(benchmark::State& state) {
  KxUtil_SetSecretProvider(std::make_shared<OneKey>());
  const FilesWithOrigins files(kMemoryFolder);
  if (!files.IsKept()) state.SkipWithError("not kept");
  char buffer[4096];
  const std::string document(KeptValue(files.Native().front(), buffer));
  const std::array<unsigned char, kKxMinKeyBytes> key{};
  const std::span<const unsigned char> signedBytes(reinterpret_cast<const unsigned char*>(document.data()),
                                                   document.size());
  double best = 1e300;
  double reference = 1e300;
  double parser = 1e300;
  double digest = 1e300;
  const auto measure = [](double& least, auto work) { least = std::min(least, ThreadNanosecondsOf(work)); };
  for (auto _ : state) {
    measure(reference, [&] {
      for (const std::string& path : files.Native()) benchmark::DoNotOptimize(KeptValue(path, buffer));
    });
    measure(best, [&] {
      for (const KxWString& path : files.Wide()) {
        CkxFileOrigin origin;
        const EkxKeptRecord read = CkxSupplementalFileData::ReadAgentData(path.c_str(), origin);
        if (read != EkxKeptRecord::Read) state.SkipWithError("not read");
      }
    });
    measure(parser, [&] {
      for (size_t i = 0; i < kFiles; ++i) {
        tinyxml2::XMLDocument parsed;
        benchmark::DoNotOptimize(parsed.Parse(document.data(), document.size()));
      }
    });
    measure(digest, [&] {
      for (size_t i = 0; i < kFiles; ++i) benchmark::DoNotOptimize(KxHmac_Sha256(key, {signedBytes}));
    });
  }
  state.counters["files_per_second"] = kFiles / (best / 1e9);
  state.counters["times_getxattr"] = best / reference;
  state.counters["tinyxml2_of_getxattr"] = parser / reference;
  state.counters["hmac_of_getxattr"] = digest / reference;
  state.counters["bytes"] = static_cast<double>(document.size());
}
BENCHMARK(ReadKeptOrigins)->Unit(benchmark::kMillisecond)->MinTime(2);

/// Of a program of 1 MiB in front of its signature.
void WhoSignedIsKept(benchmark::State& state) {
  KxUtil_SetSecretProvider(std::make_shared<OneKey>());
  const std::filesystem::path path = kMemoryFolder / "kx-kept-signer.exe";
  std::ofstream(path, std::ios::binary) << std::string(1024 * 1024, 'x');
  const KxWString wide = path.string<WCHAR>();
  const auto ask = [&] {
    EkxPublisherStatus status = EkxPublisherStatus::Unknown;
    const CkxTargetInfoFile file(wide.c_str(), nullptr);
    file.GetPublisher(false, status);
    benchmark::DoNotOptimize(file.GetHashStringUsing(KXW("SHA256")));
  };
  double kept = 1e300;
  double computed = 1e300;
  for (auto _ : state) {
    computed = std::min(computed, KxBench_NanosecondsOf(ask));
    CkxExtFileAttributes::SetDrvEaHelper(CkxExtFileAttributes::NativeDrvEaHelper());
    ask();
    CkxExtFileAttributes::SetDrvEaHelper(nullptr);
    kept = std::min(kept, KxBench_NanosecondsOf(ask));
    CkxExtFileAttributes::DeleteAllFromFile(wide.c_str());
  }
  state.counters["kept_of_computed"] = kept / computed;
  std::filesystem::remove(path);
}
BENCHMARK(WhoSignedIsKept)->Unit(benchmark::kMicrosecond);

}  // namespace
