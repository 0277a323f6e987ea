// Walking the bytes of a record by its layout: what is where, and the first byte that no reader would take.
//
//   SkxRecordFault fault;
//   if (!KxRecord_Walk(kKxPolicyLayout, bytes, &visitor, fault)) ... fault.offset, fault.path, fault.message
//
// A walk accepts exactly the records that the library's readers make objects of, and takes as many of their bytes. It
// reads nothing outside `bytes`, goes over each of them once, and nests no deeper than the tables do.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "Agent/engine/kx_publish/record/record_layout.h"
#include "Common_CPP/util/text_view.h"

/// A field where a walk met it. All of it is good until the call returns.
struct SkxWalkedField {
  const SkxLayout& layout;  ///< that `field` is a line of
  const SkxLayoutField& field;
  std::string_view path;                 ///< "targets/0/fileName/pattern", from the record
  size_t offset;                         ///< of the first of `bytes`, from the record's first
  std::span<const unsigned char> bytes;  ///< all of a field with its count; of a property its flag, of a list its count
  CkxTextView text;                      ///< of a text: in clear, as far as its first NUL

  uint64_t Number() const;  ///< of a field of at most eight bytes
};

class IkxRecordVisitor {
 public:
  virtual ~IkxRecordVisitor() = default;
  virtual void OnField(const SkxWalkedField& field) = 0;

  /// A property, list or target again, after all that is in it and with all of its bytes.
  virtual void OnWhole(const SkxWalkedField& /*field*/) {}
};

struct SkxRecordFault {
  size_t offset = 0;
  std::string path;
  std::string message;
};

/// Bytes from the record's first to the end of its last field, at most what its size field says; nothing when it would
/// not be read, with the place in `fault`. What comes before a fault has been visited. `visitor` may be null.
std::optional<size_t> KxRecord_Walk(const SkxRecordLayout& record, std::span<const unsigned char> bytes,
                                    IkxRecordVisitor* visitor, SkxRecordFault& fault);

/// The same for a mere layout.
std::optional<size_t> KxRecord_WalkFields(const SkxLayout& layout, std::span<const unsigned char> bytes,
                                          IkxRecordVisitor* visitor, SkxRecordFault& fault);
