// Whether what kernel attributes say of an open file may be believed: that no program of a user can have set them.
#pragma once

#include <cstdint>

/// `file` is the system's handle or descriptor. Windows: a file on a disk of this machine that stays in it; the kernel
/// keeps users' programs from such attributes there. Elsewhere: a file that root alone may write, since attributes are
/// plain there; in a developer's build also the process's own user.
bool KxKernelEa_IsBelievable(intptr_t file);

/// Whether the kernel itself keeps others from setting such attributes.
bool KxKernelEa_AreGuarded();
