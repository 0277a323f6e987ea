// What the platforms' files need of the shared one, and the other way round. Private to this folder.
#pragma once

#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

inline constexpr uint32_t kKxErrorInvalidName = 123;

/// How long `Accept` leaves a fault of the system to go away.
inline constexpr int kKxAcceptPauseMs = 100;

/// `name` as it is part of a file's or a pipe's name. Empty, with the last error set, when it is no name.
std::string KxPipe_EncodedName(CkxTextView name);

/// This process, as it asks `server`.
SkxPipeAsker KxPeer_Asker(const SkxPipePeer& server);

/// Connects without a look at who serves.
EkxPipeResult KxPipe_ConnectUnchecked(const std::string& encodedName, const SkxPipeOptions& options,
                                      CkxDeadline deadline, CkxSecurePipe& pipe);
