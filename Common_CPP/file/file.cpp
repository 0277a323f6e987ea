#include "Common_CPP/file/file.h"

#include <algorithm>
#include <utility>

#include "Common_CPP/file/held_folder.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"

CkxFileReader::CkxFileReader(CkxFileReader&& other) noexcept
    : _handle(std::exchange(other._handle, -1)), _hasFailed(std::exchange(other._hasFailed, false)) {}

CkxFileReader& CkxFileReader::operator=(CkxFileReader&& other) noexcept {
  if (this == &other) return *this;
  Close();
  _handle = std::exchange(other._handle, -1);
  _hasFailed = std::exchange(other._hasFailed, false);
  return *this;
}

CkxFileReader::~CkxFileReader() { Close(); }

std::string KxFile_WhyRefused(CkxTextView path) {
  const std::string words = KxError_Words();
  return CkxHeldFolder().Open(path) ? "it is a folder" : words;
}

std::optional<std::vector<unsigned char>> KxFile_ReadAll(CkxTextView path, uint64_t limit) {
  CkxFileReader file;
  return file.Open(path) ? KxFile_ReadAll(file, limit) : std::nullopt;
}

std::optional<std::vector<unsigned char>> KxFile_ReadAll(const CkxFileReader& file, uint64_t limit) {
  constexpr uint64_t kBlockBytes = 1024 * 1024;
  SkxFileStatus status;
  if (!file.Status(status)) return std::nullopt;
  if (status.size > limit) {
    KxLastError_Set(kKxErrorGenFailure);
    return std::nullopt;
  }

  // Else the size is only a hint (it may change meanwhile, and some files report 0): the end is where a read comes
  // short. Each read asks for one byte more than may come, so that one that is not short is a file beyond the limit.
  std::vector<unsigned char> bytes;
  uint64_t expected = std::min({status.size, limit, kBlockBytes});
  while (bytes.size() <= limit) {
    const size_t size = bytes.size();
    const size_t wanted = static_cast<size_t>(std::min(expected, limit - size)) + 1;
    bytes.resize(size + wanted);
    const std::optional<size_t> count = file.ReadAt(size, std::span(bytes).subspan(size));
    if (!count) return std::nullopt;
    bytes.resize(size + *count);
    if (*count < wanted) return bytes;
    expected = kBlockBytes;
  }
  KxLastError_Set(kKxErrorGenFailure);
  return std::nullopt;
}
