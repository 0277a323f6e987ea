// Local sockets in the runtime folder. Private to this folder.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

inline std::string KxSocket_FileName(const std::string& encodedName) { return encodedName + ".sock"; }

/// The address of a name in an open folder. It goes through the descriptor: so it is short however long the folder's
/// path is, and it is in the very folder that was checked.
class CkxSocketAddress {
 public:
  CkxSocketAddress(const CkxDescriptor& folder, const std::string& encodedName) {
    const std::string path = "/proc/self/fd/" + std::to_string(folder.Get()) + "/" + KxSocket_FileName(encodedName);
    static_assert(sizeof(_address.sun_path) > 14 + 10 + 1 + 64 + 5, "the longest name fits");
    _address.sun_family = AF_UNIX;
    path.copy(_address.sun_path, sizeof(_address.sun_path) - 1);
  }

  const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&_address); }
  socklen_t Size() const { return sizeof(_address); }

 private:
  sockaddr_un _address{};
};

inline bool KxSocket_SetNonBlocking(int socket) { return fcntl(socket, F_SETFL, O_NONBLOCK) == 0; }

/// Takes over a connected socket that never blocks.
CkxSecurePipe KxSocket_ToPipe(CkxDescriptor socket);
