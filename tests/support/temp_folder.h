// A folder of a test's own, gone with all that it holds at the end of the scope.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "Common_CPP/util/text_view.h"

/// Unlikely to be in use by anyone else, and good for a file or a section.
inline std::string KxTest_UniqueName() {
  std::random_device random;
  return "kx-test-" + std::to_string(random()) + "-" + std::to_string(random());
}

class CkxTempFolder {
 public:
  explicit CkxTempFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
      : _path(parent / KxTest_UniqueName()) {
    std::filesystem::create_directory(_path);
  }
  ~CkxTempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  CkxTempFolder(const CkxTempFolder&) = delete;
  CkxTempFolder& operator=(const CkxTempFolder&) = delete;

  const std::filesystem::path& Path() const { return _path; }

  /// Writes `content` to `name` in the folder and returns its path as the interfaces take it.
  KxWString Write(const std::filesystem::path& name, const std::string& content) const {
    std::ofstream(_path / name, std::ios::binary) << content;
    return Text(name);
  }
  KxWString Text(const std::filesystem::path& name) const { return (_path / name).template string<WCHAR>(); }

  std::string Read(const std::filesystem::path& name) const {
    std::ifstream in(_path / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  size_t Count() const { return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(_path), {})); }

 private:
  const std::filesystem::path _path;
};
