// new: a folder with policies to begin with, and their cases.
#include <filesystem>
#include <ostream>
#include <span>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/starter.h"
#include "tools/kxpolicy/tool.h"

namespace {

namespace fs = std::filesystem;

fs::path PathOf(const std::string& utf8) { return fs::path(std::u8string(utf8.begin(), utf8.end())); }

[[noreturn]] void Refuse(const std::string& line) { throw CkxToolFault(EkxExit::SystemRefused, line); }

void Require(const std::error_code& error, const std::string& what) {
  if (error) Refuse(what + ": " + KxError_Words(error));
}

/// A folder beside the place, which goes with all that is in it unless it got there.
class WorkFolder {
 public:
  WorkFolder(const fs::path& place, const std::string& name) : _path(place) {
    _path += ".new";
    std::error_code error;
    const bool isMade = fs::create_directory(_path, error);
    Require(error, name + ".new: cannot be made");
    if (!isMade) Refuse(name + ".new: is in the way");
  }
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const fs::path& Path() const { return _path; }

 private:
  fs::path _path;
};

void WriteStarter(const fs::path& path, std::string_view text, const std::string& name) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  Require(error, name + ": cannot be made");
  const std::span bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  const std::u8string utf8 = path.u8string();
  const std::optional<KxWString> wide = KxText_FromUtf8(std::string(utf8.begin(), utf8.end()));
  if (!wide || !KxFile_ReplaceAll(*wide, bytes)) {
    Refuse(name + ": cannot be written: " + KxError_Words());
  }
}

/// Whether there is a folder already, which has to be empty.
bool IsThere(const fs::path& place, const std::string& name) {
  std::error_code error;
  const fs::file_status status = fs::status(place, error);
  if (status.type() == fs::file_type::not_found) return false;
  Require(error, name + ": cannot be looked at");
  if (status.type() != fs::file_type::directory) Refuse(name + ": is there, and no folder");
  const bool isEmpty = fs::is_empty(place, error);
  Require(error, name + ": cannot be listed");
  if (!isEmpty) Refuse(name + ": is not empty; nothing is written");
  return true;
}

/// What is in `made` goes to the empty folder, or nothing does. The folder stays: somebody may be working in it.
void Fill(const fs::path& place, const fs::path& made, const std::string& name) {
  std::error_code error;
  std::vector<fs::path> moved;
  for (fs::directory_iterator entry(made, error), end; !error && entry != end; entry.increment(error)) {
    moved.push_back(place / entry->path().filename());
    fs::rename(entry->path(), moved.back(), error);
    if (error) break;
  }
  if (!error) return;
  std::error_code ignored;
  for (const fs::path& path : moved) fs::remove_all(path, ignored);
  Require(error, name + ": cannot be filled");
}

EkxExit New(const std::string& folder, SkxStreams& streams) {
  if (!KxText_FromUtf8(folder)) throw CkxToolFault(EkxExit::UnusableArguments, folder + ": is not UTF-8");
  std::error_code error;
  const fs::path place = fs::absolute(PathOf(folder) / "", error).lexically_normal().parent_path();
  Require(error, folder + ": is no usable place");
  if (!place.has_filename()) throw CkxToolFault(EkxExit::UnusableArguments, folder + ": is no place for a new folder");

  const bool isThere = IsThere(place, folder);
  const WorkFolder work(place, folder);
  for (const SkxStarterFile& file : kKxStarterFiles) WriteStarter(work.Path() / PathOf(file.path), file.text, folder);
  if (isThere) {
    Fill(place, work.Path(), folder);
  } else {
    fs::rename(work.Path(), place, error);
    Require(error, folder + ": cannot be put in place");
  }

  const std::string shown = KxText_Printable(folder);
  for (const SkxStarterFile& file : kKxStarterFiles) streams.out << shown << "/" << file.path << '\n';
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_New(const CkxVerbOptions& verb) {
  const auto folder = std::make_shared<std::string>();
  verb.Add("folder", *folder, "The folder to make, whole or not at all; one that is there must be empty")
      .Folder()
      .Required();
  verb.Footer("Example: kxpolicy new policies");
  return [folder](SkxStreams& streams) { return New(*folder, streams); };
}
