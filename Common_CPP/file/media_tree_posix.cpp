#include "Common_CPP/file/media_tree_posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <memory>

#include "Common_CPP/file/storage_descriptor.h"
#include "Common_CPP/util/descriptor_posix.h"

namespace {

constexpr size_t kMaxMountInfo = size_t{4} << 20;  // bytes
const KxWStringView kOpticalType = KXW("5");       // kKxScsiOptical
constexpr size_t kMaxAttribute = 4096;             // the kernel has no longer one

/// The next of the words of a line, which it loses.
std::string_view TakeWord(std::string_view& line) {
  const size_t end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

template <class Number>
bool ToNumber(std::string_view word, Number& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

bool IsOctal(char digit) { return digit >= '0' && digit <= '7'; }

/// Blanks, line ends and backslashes are written "\040".
std::string Unescaped(std::string_view word) {
  std::string text;
  for (size_t at = 0; at < word.size(); ++at) {
    const bool isEscape = word[at] == '\\' && word.size() - at > 3 && IsOctal(word[at + 1]) && IsOctal(word[at + 2]) &&
                          IsOctal(word[at + 3]) && word[at + 1] <= '3';
    if (!isEscape) {
      text += word[at];
      continue;
    }
    text += static_cast<char>((word[at + 1] - '0') << 6 | (word[at + 2] - '0') << 3 | (word[at + 3] - '0'));
    at += 3;
  }
  return text;
}

/// "ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [FIELD ...] - TYPE SOURCE OPTIONS"
bool ReadMount(std::string_view line, uint64_t id, SkxMountedFrom& from) {
  uint64_t number = 0;
  if (!ToNumber(TakeWord(line), number) || number != id) return false;
  TakeWord(line);
  const std::string_view device = TakeWord(line);
  const size_t colon = std::min(device.find(':'), device.size());
  if (!ToNumber(device.substr(0, colon), from.major) ||
      !ToNumber(device.substr(std::min(colon + 1, device.size())), from.minor)) {
    return false;
  }
  while (!line.empty() && TakeWord(line) != "-") {
  }
  TakeWord(line);
  from.source = Unescaped(TakeWord(line));
  return true;
}

/// The beginning of a regular file; nothing when it cannot be read.
std::optional<std::string> ReadSome(const std::string& path, size_t limit) {
  const CkxDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  std::string text;
  char block[4096];
  while (text.size() < limit) {
    const ssize_t count = read(file.Get(), block, std::min(sizeof(block), limit - text.size()));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    text.append(block, static_cast<size_t>(count));
  }
  return text;
}

/// Where a path leads; empty on failure.
std::string RealPath(const std::string& path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
  return real != nullptr ? real.get() : std::string();
}

/// What stands in a file of a folder of the tree.
std::optional<KxWString> Attribute(const std::string& folder, const char* name) {
  const std::optional<std::string> text = ReadSome(folder + "/" + name, kMaxAttribute);
  if (!text) return std::nullopt;
  return KxStorage_DeviceText({reinterpret_cast<const unsigned char*>(text->data()), text->size()});
}

/// The first that there is.
const std::optional<KxWString>& FirstOf(const std::optional<KxWString>& a, const std::optional<KxWString>& b) {
  return a ? a : b;
}

/// What the folders of a block device and of what it is connected to say of it, from the inside out.
class DeviceFolders {
 public:
  /// `inner` lies below `root`.
  DeviceFolders(std::string inner, const std::string& root) {
    for (; inner.size() > root.size(); inner.resize(inner.rfind('/'))) Look(inner);
  }

  std::optional<SkxMediaDevice> Device() const {
    if (!_isOptical && !_isUsb) return std::nullopt;
    // As other systems know the device: by what it answers to the questions of its storage protocol. What its plug says
    // comes second.
    return SkxMediaDevice{_isOptical ? EkxMediaKind::OpticalDisc : EkxMediaKind::Usb, FirstOf(_vendor, _plugVendor),
                          FirstOf(_model, _plugProduct), _plugSerial};
  }

 private:
  void Look(const std::string& folder) {
    std::optional<KxWString> model = Attribute(folder, "model");
    if (!_isStorage && model) {
      _isStorage = true;
      _isOptical = Attribute(folder, "type") == kOpticalType;
      _vendor = Attribute(folder, "vendor");
      _model = std::move(model);
    }
    const std::optional<KxWString> plugVendor = Attribute(folder, "idVendor");
    const std::optional<KxWString> plugProduct = Attribute(folder, "idProduct");
    if (_isUsb || !plugVendor || !plugProduct) return;  // further out are the hubs
    _isUsb = true;
    _plugVendor = FirstOf(Attribute(folder, "manufacturer"), plugVendor);
    _plugProduct = FirstOf(Attribute(folder, "product"), plugProduct);
    _plugSerial = Attribute(folder, "serial");
  }

  bool _isStorage = false;
  bool _isOptical = false;
  bool _isUsb = false;
  std::optional<KxWString> _vendor;
  std::optional<KxWString> _model;
  std::optional<KxWString> _plugVendor;
  std::optional<KxWString> _plugProduct;
  std::optional<KxWString> _plugSerial;
};

}  // namespace

std::optional<SkxMountedFrom> KxMountInfo_Find(std::string_view text, uint64_t id) {
  SkxMountedFrom from;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (ReadMount(text.substr(0, end), id, from)) return from;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return std::nullopt;
}

std::optional<SkxMediaDevice> CkxMediaTree::DeviceOfMount(uint64_t id) const {
  const std::optional<std::string> text = ReadSome(_proc + "/self/mountinfo", kMaxMountInfo);
  const std::optional<SkxMountedFrom> from = text ? KxMountInfo_Find(*text, id) : std::nullopt;
  if (!from) return std::nullopt;
  if (from->major != 0) return DeviceOfNumber(from->major, from->minor);
  constexpr std::string_view kDevices = "/dev/";  // of a file system that may have several, the one it was mounted by
  if (!from->source.starts_with(kDevices)) return std::nullopt;
  const std::string name = from->source.substr(kDevices.size());
  const bool isName = !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
  return isName ? DeviceOfLink("/class/block/" + name) : std::nullopt;
}

std::optional<SkxMediaDevice> CkxMediaTree::DeviceOfNumber(uint32_t major, uint32_t minor) const {
  return DeviceOfLink("/dev/block/" + std::to_string(major) + ":" + std::to_string(minor));
}

std::optional<SkxMediaDevice> CkxMediaTree::DeviceOfLink(const std::string& link) const {
  const std::string root = RealPath(_sys + "/devices");
  const std::string device = RealPath(_sys + link);
  if (root.empty() || !device.starts_with(root + "/")) return std::nullopt;  // it leads out of the tree
  return DeviceFolders(device, root).Device();
}
