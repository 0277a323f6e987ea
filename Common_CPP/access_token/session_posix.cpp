#include "Common_CPP/access_token/session_posix.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <limits>

#include "Common_CPP/util/descriptor_posix.h"

uint32_t KxPosixSession_Of(int processFolder) {
  const CkxDescriptor file(openat(processFolder, "sessionid", O_RDONLY | O_CLOEXEC));
  char text[16];
  const ssize_t size = file ? read(file.Get(), text, sizeof(text)) : -1;
  return size > 0 ? KxPosixSession_Parse({text, static_cast<size_t>(size)}) : 0;
}

uint32_t KxPosixSession_Parse(std::string_view text) {
  constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();
  if (text.ends_with('\n')) text.remove_suffix(1);
  uint32_t session = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), session);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && session != kNone ? session : 0;
}
