// Kernel attributes where no kernel keeps them: plain attributes, and beside them a mark of the file as it was when the
// last of them was set. A file that does not fit its mark has changed since, and its kernel attributes are stale.
//
//   0  u64   device, then u64 inode, u64 size, i64 time of modification
//  32  i64   time of change when the value was set
//  40  i64   the latest time of change that setting the mark itself may have left
//
// Times are nanoseconds since 1970. Setting an attribute changes the file's time of change, which cannot be known
// before and cannot be set: so the mark says from when to when, less than ten milliseconds, and holds only if that came
// true. Whoever may write the file may write the mark: it tells what is outdated and proves nothing.
#pragma once

#include "Common_CPP/file/ea_record.h"

/// Whether the file has a mark that it fits.
bool KxKernelEaMark_Holds(int file);

/// Sets one kernel attribute, or removes it where its value is empty, and marks the file. Those that are stale are
/// removed first, like a kernel would have.
long KxKernelEa_SetUnderMark(int file, const SkxEaRecord& record);

/// Removes one, and the mark with the last. Others are stale afterwards: the file has changed, and nobody said that it
/// is still what they are about.
long KxKernelEa_Remove(int file, std::string_view name);
