// Calls of the system that fail when a test says so: a run of the command whose calls about files, folders, mapped
// memory and channels are counted, and of which one fails, is interrupted or comes short.
//
//   const SkxFailingRun whole = KxTest_RunFailing(arguments, streams);                               // whole.calls
//   const SkxFailingRun third = KxTest_RunFailing(arguments, streams, {EkxCallFault::Fails, 2});     // the third one
//   fails
//
// Nothing of the run knows of it, so the C and C++ libraries fail with it as they would.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

enum class EkxCallFault {
  Fails,        ///< as it would on a full disk, a broken one, or out of descriptors
  Interrupted,  ///< a read or a write: by a signal, before anything was moved
  Short,        ///< a read or a write: one byte is moved
};

/// What can become of a call on this system.
std::span<const EkxCallFault> KxTest_CallFaults();

struct SkxCallFault {
  static constexpr size_t kNever = static_cast<size_t>(-1);
  EkxCallFault how = EkxCallFault::Fails;
  size_t at = kNever;  ///< which of the calls, from 0
};

struct SkxFailingRun {
  int code = 0;            ///< negative: the signal that ended it
  size_t calls = 0;        ///< that could have failed in this way
  std::string failed;      ///< which call did, by its name
  bool isRemoval = false;  ///< that call takes a file or a folder away
  bool isTelling = false;  ///< that call writes to standard error
};

/// One run as the program's main makes it: standard input is the file "in" of the folder `streams`, and what the run
/// says goes to "out" and "err" there.
SkxFailingRun KxTest_RunFailing(const std::vector<std::string>& arguments, const std::filesystem::path& streams,
                                SkxCallFault fault = {});
