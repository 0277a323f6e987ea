// The system's manager of services, as far as a service talks to it: that it is ready, that it reads its data anew,
// what it is at, that it is alive, that it ends.
//
//   CkxServiceManager manager;
//   ...                                  // open whatever clients need
//   manager.Ready("5 policies");
//   while (at work) { ...; manager.Beat(); }
//   manager.Stopping();
//
// POSIX: datagrams of NAME=value lines to the local socket that NOTIFY_SOCKET names, in the file system or abstract
// (`@`), which is all that the manager's protocol is; a library of the manager's would be a dependency for it, and
// there at run time, of each process that links this one. Windows: the service control manager, for a process that runs
// under `KxServiceManager_Run`. Without a manager nobody is told, and nothing fails.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// One thread uses it.
class CkxServiceManager {
 public:
  CkxServiceManager();

  /// Also once a reload has ended, however it did.
  void Ready(std::string_view state);
  void Reloading();
  void Stopping();

  /// One line for a person who asks the manager. The same one again is not told again.
  void State(std::string_view state);

  /// From the loop that does the work, and from nowhere else: a service whose loop hangs is to be started anew. As
  /// often as the loop likes; the manager is told at half the time that it waits.
  void Beat();

 private:
  void Tell(const std::string& lines) const;

  std::string _address;    // of the manager's socket, as it is given; empty without a manager
  int64_t _beatEvery = 0;  // microseconds; 0: nobody waits for it
  int64_t _lastBeat = 0;   // microseconds of the monotonic clock
  std::string _state;      // that was told last
};

/// Runs `body` as the service as which the system's manager has started this process, and hands it the result: 0 is a
/// service that ended well. Nothing where no manager has started it so, or there is none that wants it (POSIX, where a
/// service is a process like any other): `body` has not run then.
std::optional<int> KxServiceManager_Run(const std::function<int()>& body);
