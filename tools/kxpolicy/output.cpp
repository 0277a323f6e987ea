#include "tools/kxpolicy/output.h"

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <span>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

namespace fs = std::filesystem;

bool IsStandardStream(const std::string& place) { return place == "-"; }

fs::path OutputPath(const std::string& place) { return fs::path(std::u8string(place.begin(), place.end())); }

}  // namespace

void KxOutput_CheckPlace(const std::string& place, const std::vector<std::string>& read) {
  if (IsStandardStream(place)) return;
  std::error_code ignored;
  const fs::path output = OutputPath(place);
  const fs::file_status status = fs::status(output, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw CkxToolFault(EkxExit::SystemRefused, place + ": is no file, and is left as it is");
  }
  const auto isOutput = [&](const std::string& input) {
    return !IsStandardStream(input) && fs::equivalent(output, OutputPath(input), ignored);
  };
  if (std::any_of(read.begin(), read.end(), isOutput)) {
    throw CkxToolFault(EkxExit::UnusableArguments, place + ": is read, and cannot be written too");
  }
}

void KxOutput_Write(const std::string& place, std::string_view text, SkxStreams& streams) {
  if (IsStandardStream(place)) {
    streams.out << text;
    return;
  }
  const std::optional<KxWString> path = KxText_FromUtf8(place);
  if (!path) throw CkxToolFault(EkxExit::UnusableArguments, place + ": is not UTF-8");
  const std::span bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (KxFile_ReplaceAll(*path, bytes)) return;
  throw CkxToolFault(EkxExit::SystemRefused, place + ": cannot be written: " + KxFile_WhyRefused(*path));
}

void KxOutput_Tell(const std::string& place, const std::string& made, SkxStreams& streams) {
  if (!IsStandardStream(place)) streams.out << KxText_Printable(place) << ": " << made << '\n';
}
