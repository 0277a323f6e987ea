// Named read-only memory sections, by which the agent's service hands records to every process.
//
// Windows: file mappings in the session's or the global name space. Elsewhere: a file in a runtime folder
// (Common_CPP/file/runtime_folder_posix.h), written beside its place and renamed into it, never truncated, mode 0444,
// so that a reader's mapping stays whole when the section is replaced. A reader copies one that is not large.
//
// Reader and publisher refuse a section that somebody made who cannot be the agent (Common_CPP/security/agent_trust.h),
// with error 5 and a line in the trace that names it; where sections are files also one that others could write, and a
// folder of which either is true (in a sticky folder, each name is its owner's).
//
// A view is the reader's own: it holds no lock, and it keeps its bytes alive after the name is gone.
#pragma once

#include <memory>
#include <span>

#include "Common_CPP/util/text_view.h"

/// Whether `name` can name a section: not empty, and without a NUL at which the system would end it.
bool KxSharedMemory_IsName(CkxTextView name);

class CkxHeldSection;

/// One section, given back when it goes. Movable, not copyable.
class CkxSharedMemoryView {
 public:
  CkxSharedMemoryView() = default;
  CkxSharedMemoryView(CkxSharedMemoryView&& other) noexcept;
  CkxSharedMemoryView& operator=(CkxSharedMemoryView&& other) noexcept;
  ~CkxSharedMemoryView();

  /// The section `name` whole, for reading. False with the thread's last error set: 2 when there is no such section.
  bool Open(CkxTextView name);

  /// The same of a section that lies where `neighbour`, which is open, was found.
  bool OpenBeside(const CkxHeldSection& neighbour, CkxTextView name);
  void Close();

  /// The usable bytes, from a multiple of eight: the size of the mapped region as the system reports it (whole pages on
  /// Windows).
  std::span<const unsigned char> Bytes() const { return _bytes; }

 private:
  friend class CkxHeldSection;

  std::span<const unsigned char> _bytes;
  void* _mapping = nullptr;                // the system's handle, where it has one besides the address
  std::unique_ptr<unsigned char[]> _copy;  // the bytes, where they are not mapped
};

/// A section that is held for as long as one decision takes: what lies beside it is opened without another look at what
/// has been checked, and in the end it tells whether its name still stands for it. Several threads may ask one at once.
class CkxHeldSection {
 public:
  CkxHeldSection();
  CkxHeldSection(CkxHeldSection&&) noexcept;
  CkxHeldSection& operator=(CkxHeldSection&&) noexcept;
  ~CkxHeldSection();

  /// As a view is opened.
  bool Open(CkxTextView name);

  /// As a view's. Where sections are rewritten in place they are as they are now, else as they were when it was opened.
  std::span<const unsigned char> Bytes() const;

  /// Whether whoever opened the name now would be given `Bytes`. So where it lies, who may write there and to it, and
  /// what the name stands for are looked at again. False when it is not open.
  bool IsInForce() const;

 private:
  friend class CkxSharedMemoryView;
  struct State;
  std::unique_ptr<const State> _state;
};

/// The publisher's side: a section that exists under its name for as long as this object lives (Windows) or until it is
/// removed (elsewhere). Publishing under a name that exists replaces the section as a whole; on Windows the bytes of an
/// open section of the same count of pages are rewritten in place, which only the index section needs, and another size
/// is refused with error 183 (a data section gets a new name each time). Publishing under another name takes the
/// earlier one away.
///
/// Rewriting in place goes from the section's end to its beginning, and stores each aligned word of eight bytes at
/// once. So a reader that goes from the beginning to the end, a word at a time, never meets half of a word, and having
/// met a word it meets what lies behind it as new as that, or newer.
class CkxSharedMemoryPublication {
 public:
  CkxSharedMemoryPublication();
  CkxSharedMemoryPublication(CkxSharedMemoryPublication&&) noexcept;
  CkxSharedMemoryPublication& operator=(CkxSharedMemoryPublication&&) noexcept;
  ~CkxSharedMemoryPublication();

  /// False with the thread's last error set.
  bool Publish(CkxTextView name, std::span<const unsigned char> bytes);

  /// The same under a name that is nobody's; false with error 183 when it is somebody's. Elsewhere than on Windows only
  /// for publishers that take turns.
  bool PublishNew(CkxTextView name, std::span<const unsigned char> bytes);

  /// Takes the name away; views that are open stay whole.
  void Remove();

 private:
  struct Section;
  std::unique_ptr<Section> _section;
};

/// Whether a section stays when its publisher ends.
bool KxSharedMemory_OutlivesPublisher();

/// Takes away the section of a publisher that is gone, where sections outlive their publishers. True also when there is
/// none; false with the thread's last error set.
bool KxSharedMemory_Remove(CkxTextView name);

/// Takes away what publishers that were killed left behind: the sections whose names begin with `prefix`, but for those
/// in `kept`, and whatever was half written. Only for whoever keeps all other publishers off.
void KxSharedMemory_RemoveLeftBehind(CkxTextView prefix, std::span<const KxWString> kept);
