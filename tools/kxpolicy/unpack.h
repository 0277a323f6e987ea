// What bytes were before they were packed with gzip or zstd, piece by piece.
//
// Both kinds may be several pieces in a row, each packed for itself, as `cat a.gz b.gz` leaves them; zstd also has
// pieces to be skipped. What comes between or behind that is none of these is damage, and is not passed over.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <stdexcept>

/// "the gzip data is damaged": what is packed cannot be had.
class CkxUnpackFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SkxUnpacked {
  size_t taken;  ///< of the packed bytes
  size_t given;  ///< into the room
  bool isWhole;  ///< what was packed may end here, and all of it is given
};

class IkxUnpacker {
 public:
  virtual ~IkxUnpacker() = default;

  /// Takes bytes from the front of `packed` and fills the front of `room`, as far as the one or the other reaches.
  /// `packed` is empty only at the end, for what is not given yet. Throws a `CkxUnpackFault`.
  virtual SkxUnpacked Unpack(std::span<const char> packed, std::span<char> room) = 0;

  virtual const char* Name() const = 0;  ///< "gzip"
};

using KxFirstBytes = std::array<unsigned char, 4>;

/// Whether what begins with so many bytes may turn out to be packed: no text of ours begins so.
bool KxUnpacker_MayBegin(std::span<const unsigned char> bytes);

/// For what begins with these bytes; null when it is not packed. It takes a window of 128 MiB at most, whatever the
/// packed bytes ask for.
std::unique_ptr<IkxUnpacker> KxUnpacker_For(const KxFirstBytes& bytes);
