// The file that a process was started for, as a target that is linked to it.
#pragma once

#include <kx_util/target_info_process.h>

/// What cannot be found is left out: the command line is still there to be judged. Of `process` its image, command line
/// and current folder count; files are sought for the user of `target`.
void KxCarriedTarget_Add(const SkxProcess& process, CkxTargetInfoProcess& target);
