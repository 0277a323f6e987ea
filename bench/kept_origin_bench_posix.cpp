// What it costs to read and verify what is kept with files: the origins of 10,000 of them, in what it takes to open
// each file and get the same attribute; and a decision by who signed a file where that is kept, in one where it is not.
#include <fcntl.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/secret_provider.h>
#include <kx_util/supplemental_file_data.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

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

void ReadKeptOrigins(benchmark::State& state) {
  KxUtil_SetSecretProvider(std::make_shared<OneKey>());
  const FilesWithOrigins files(kMemoryFolder);
  if (!files.IsKept()) state.SkipWithError("not kept");
  double best = 1e300;
  double reference = 1e300;
  for (auto _ : state) {
    reference = std::min(reference, KxBench_NanosecondsOf([&] {
                           char value[4096];
                           for (const std::string& path : files.Native()) {
                             const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
                             benchmark::DoNotOptimize(fgetxattr(file, "user.KXAGENTSUPDATA", value, sizeof(value)));
                             close(file);
                           }
                         }));
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      for (const KxWString& path : files.Wide()) {
                        CkxFileOrigin origin;
                        const EkxKeptRecord read = CkxSupplementalFileData::ReadAgentData(path.c_str(), origin);
                        if (read != EkxKeptRecord::Read) state.SkipWithError("not read");
                      }
                    }));
  }
  state.counters["files_per_second"] = kFiles / (best / 1e9);
  state.counters["times_getxattr"] = best / reference;
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
