#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Common_CPP/service_manager/service_manager.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/printable.h"

namespace {

std::string Told(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

/// 0 for what is no number.
int64_t NumberTold(const char* name) {
  const std::string text = Told(name);
  int64_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() && number > 0 ? number : 0;
}

/// The clock that the manager compares with.
int64_t MonotonicMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

/// False for an address of another kind, or one that is too long.
bool AddressOf(const std::string& text, sockaddr_un& address, socklen_t& size) {
  address = {};
  address.sun_family = AF_UNIX;
  const bool isAbstract = text.starts_with('@');
  if ((!isAbstract && !text.starts_with('/')) || text.size() >= sizeof(address.sun_path)) return false;
  std::memcpy(address.sun_path, text.data(), text.size());
  if (isAbstract) address.sun_path[0] = 0;
  size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size() + (isAbstract ? 0 : 1));
  return true;
}

}  // namespace

CkxServiceManager::CkxServiceManager() : _address(Told("NOTIFY_SOCKET")), _lastBeat(MonotonicMicroseconds()) {
  const int64_t whose = NumberTold("WATCHDOG_PID");
  if (whose == 0 || whose == getpid()) _beatEvery = NumberTold("WATCHDOG_USEC") / 2;
}

void CkxServiceManager::Ready(std::string_view state) {
  _state = state;
  Tell("READY=1\nSTATUS=" + KxText_Printable(_state));
}

void CkxServiceManager::Reloading() { Tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(MonotonicMicroseconds())); }

void CkxServiceManager::Stopping() { Tell("STOPPING=1"); }

void CkxServiceManager::State(std::string_view state) {
  if (state == _state) return;
  _state = state;
  Tell("STATUS=" + KxText_Printable(_state));
}

void CkxServiceManager::Beat() {
  const int64_t now = MonotonicMicroseconds();
  if (_beatEvery == 0 || now - _lastBeat < _beatEvery) return;
  _lastBeat = now;
  Tell("WATCHDOG=1");
}

/// A manager that is not there any more, or does not read, is no fault of the service.
void CkxServiceManager::Tell(const std::string& lines) const {
  sockaddr_un address;
  socklen_t size = 0;
  if (_address.empty() || !AddressOf(_address, address, size)) return;
  const CkxDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!sender) return;
  static_cast<void>(sendto(sender.Get(), lines.data(), lines.size(), MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&address), size));
}

std::optional<int> KxServiceManager_Run(const std::function<int()>& /*body*/) { return std::nullopt; }
