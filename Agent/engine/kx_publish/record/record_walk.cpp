#include "Agent/engine/kx_publish/record/record_walk.h"

#include <kx_util/admin_task.h>

#include <algorithm>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

using Bytes = std::span<const unsigned char>;

constexpr size_t kMagicOffset = 0;
constexpr size_t kSizeOffset = 4;

std::string Counted(size_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string Hex(uint32_t number) {
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[number >> shift & 15];
  return text;
}

/// Extends a path for as long as it lives; an empty part extends nothing.
class PathPart {
 public:
  PathPart(std::string& path, std::string_view part) : _path(path), _before(path.size()) {
    if (part.empty()) return;
    if (!path.empty()) path += '/';
    path += part;
  }
  ~PathPart() { _path.resize(_before); }
  PathPart(const PathPart&) = delete;
  PathPart& operator=(const PathPart&) = delete;

 private:
  std::string& _path;
  const size_t _before;
};

class Walk {
 public:
  Walk(Bytes bytes, IkxRecordVisitor* visitor, SkxRecordFault& fault)
      : _begin(bytes.data()),
        _cursor(bytes.data()),
        _remaining(static_cast<unsigned long>(std::min<size_t>(bytes.size(), UINT32_MAX))),
        _visitor(visitor),
        _fault(fault) {}

  /// A record of a section: it has what its size says, at least its header, and nothing beyond.
  bool SectionRecord(const SkxRecordLayout& record) {
    if (!Header(record)) return false;
    const uint32_t size = SizeField();
    if (size < record.headerBytes) return Fail(kSizeOffset, "size", SizeText(size) + ", less than the header takes");
    _remaining = size;
    return HeaderFieldsAndBody(record);
  }

  bool Fields(const SkxLayout& layout) {
    return std::all_of(layout.fields.begin(), layout.fields.end(),
                       [&](const SkxLayoutField& field) { return Field(layout, field); });
  }

  size_t Offset() const { return static_cast<size_t>(_cursor - _begin); }

 private:
  /// A target: its size only has to fit in what remains.
  bool Target(const SkxRecordLayout& record) { return Header(record) && HeaderFieldsAndBody(record); }

  bool Header(const SkxRecordLayout& record) {
    if (_remaining < record.headerBytes) {
      return Fail(0, "", Short(record.headerBytes) + " for the header of " + record.name);
    }
    const auto magic = KxBytes_Load<uint32_t>(_cursor + kMagicOffset);
    if (magic != record.magic) return Fail(kMagicOffset, "magic", "is " + Hex(magic) + ", not " + Hex(record.magic));
    if (SizeField() <= _remaining) return true;
    return Fail(kSizeOffset, "size", SizeText(SizeField()) + ", but " + Counted(_remaining) + " are left");
  }

  bool HeaderFieldsAndBody(const SkxRecordLayout& record) {
    uint32_t code = 0;
    std::memcpy(&code, _cursor + record.codeOffset, record.codeBytes);
    const size_t codeAt = Offset() + record.codeOffset;
    if (!Fields(*record.header)) return false;
    if (const SkxLayout* const body = record.Body(code)) return Fields(*body);
    const PathPart part(_path, record.codeField);
    return FailAt(codeAt, std::string(record.codeField) + " " + record.codeText(code) + " is not accepted");
  }

  bool Field(const SkxLayout& layout, const SkxLayoutField& field) {
    const PathPart part(_path, field.name);
    const unsigned char* const begin = _cursor;
    switch (field.kind) {
      case EkxField::Part:
        return Fields(*field.nested);
      case EkxField::Property:
        return Property(layout, field) && Whole(layout, field, begin);
      case EkxField::List:
        return List(layout, field) && Whole(layout, field, begin);
      case EkxField::Target:
        return Target(kKxTargetLayout) && Whole(layout, field, begin);
      case EkxField::Text:
      case EkxField::Data:
      case EkxField::ObfuscatedText:
      case EkxField::NonEmptyText:
        return Text(layout, field);
      case EkxField::Sid:
        return Sid(layout, field);
      case EkxField::Rest:
        return Fixed(layout, field, _remaining);
      default:
        return Fixed(layout, field, KxField_FixedBytes(field)) && IsAccepted(field, begin);
    }
  }

  bool Fixed(const SkxLayout& layout, const SkxLayoutField& field, size_t count) {
    const unsigned char* const begin = _cursor;
    if (!In().Bytes(count, _ignored)) return Fail(0, "", Short(count));
    Visit(layout, field, begin, {});
    return true;
  }

  bool IsAccepted(const SkxLayoutField& field, const unsigned char* begin) {
    if (field.kind != EkxField::TaskId) return true;
    const auto id = KxBytes_Load<uint32_t>(begin);
    if (CkxAdminTask::CreateInstance(id) != nullptr) return true;
    return FailAt(OffsetOf(begin), "there is no administrative task " + std::to_string(id));
  }

  bool Property(const SkxLayout& layout, const SkxLayoutField& field) {
    const unsigned char* const flag = _cursor;
    return Fixed(layout, field, 1) && (*flag == 0 || Fields(*field.nested));
  }

  bool List(const SkxLayout& layout, const SkxLayoutField& field) {
    const unsigned char* const begin = _cursor;
    if (!Fixed(layout, field, sizeof(uint32_t))) return false;
    const auto count = KxBytes_Load<uint32_t>(begin);
    for (uint32_t i = 0; i < count; ++i) {  // every element takes at least a byte, or ends the walk
      const PathPart part(_path, std::to_string(i));
      if (!Fields(*field.nested)) return false;
    }
    return true;
  }

  bool Text(const SkxLayout& layout, const SkxLayoutField& field) {
    const bool isPlain = field.kind == EkxField::Text || field.kind == EkxField::Data;
    const unsigned char* const begin = _cursor;
    const unsigned long before = _remaining;
    CkxShBufString text;
    if (!(isPlain ? In().Text(text) : In().ObfuscatedText(text))) return FailCounted(begin, before);
    if (field.kind == EkxField::NonEmptyText && text.ByteCount() == 0) {
      return FailAt(OffsetOf(begin), "must not be empty");
    }
    Visit(layout, field, begin, field.kind == EkxField::Data ? CkxTextView() : text.View());
    return true;
  }

  bool Sid(const SkxLayout& layout, const SkxLayoutField& field) {
    const unsigned char* const begin = _cursor;
    const unsigned long before = _remaining;
    CkxSid sid;
    if (!In().Sid(sid)) return FailCounted(begin, before);
    Visit(layout, field, begin, {});
    return true;
  }

  void Visit(const SkxLayout& layout, const SkxLayoutField& field, const unsigned char* begin, CkxTextView text) {
    if (_visitor != nullptr) _visitor->OnField({layout, field, _path, OffsetOf(begin), Bytes(begin, _cursor), text});
  }

  bool Whole(const SkxLayout& layout, const SkxLayoutField& field, const unsigned char* begin) {
    if (_visitor != nullptr) _visitor->OnWhole({layout, field, _path, OffsetOf(begin), Bytes(begin, _cursor), {}});
    return true;
  }

  std::string Short(size_t needed) const {
    return "needs " + Counted(needed) + ", but " + Counted(_remaining) + " are left";
  }

  /// The count itself is short, or what it counts.
  bool FailCounted(const unsigned char* begin, unsigned long before) {
    if (before < sizeof(uint32_t)) return Fail(0, "", Short(sizeof(uint32_t)));
    return FailAt(OffsetOf(begin), "counts " + Counted(KxBytes_Load<uint32_t>(begin)) + ", but " +
                                       Counted(before - sizeof(uint32_t)) + " are left");
  }

  bool Fail(size_t beyondCursor, const char* name, std::string message) {
    const PathPart part(_path, name);
    return FailAt(Offset() + beyondCursor, std::move(message));
  }

  bool FailAt(size_t offset, std::string message) {
    _fault = {offset, _path, std::move(message)};
    return false;
  }

  CkxBufReader In() { return CkxBufReader(_cursor, _remaining); }
  size_t OffsetOf(const unsigned char* place) const { return static_cast<size_t>(place - _begin); }
  uint32_t SizeField() const { return KxBytes_Load<uint32_t>(_cursor + kSizeOffset); }
  static std::string SizeText(uint32_t size) { return "is " + std::to_string(size); }

  const unsigned char* const _begin;
  const unsigned char* _cursor;
  unsigned long _remaining;
  const unsigned char* _ignored = nullptr;
  std::string _path;
  IkxRecordVisitor* const _visitor;
  SkxRecordFault& _fault;
};

/// Throws `std::bad_alloc` when memory ran out below, also for what a visitor reads by itself: that is no fault of the
/// record, though readers say so alike.
template <class Steps>
std::optional<size_t> Walked(Bytes bytes, IkxRecordVisitor* visitor, SkxRecordFault& fault, Steps steps) {
  const CkxEntryScope entry;  // in which readers note it
  if (!entry.IsOpen()) throw std::bad_alloc();
  Walk walk(bytes, visitor, fault);
  const bool isWalked = steps(walk);
  if (KxFault_Current() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return isWalked ? std::optional(walk.Offset()) : std::nullopt;
}

}  // namespace

uint64_t SkxWalkedField::Number() const {
  uint64_t number = 0;
  std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof(number)));
  return number;
}

std::optional<size_t> KxRecord_Walk(const SkxRecordLayout& record, std::span<const unsigned char> bytes,
                                    IkxRecordVisitor* visitor, SkxRecordFault& fault) {
  return Walked(bytes, visitor, fault, [&record](Walk& walk) { return walk.SectionRecord(record); });
}

std::optional<size_t> KxRecord_WalkFields(const SkxLayout& layout, std::span<const unsigned char> bytes,
                                          IkxRecordVisitor* visitor, SkxRecordFault& fault) {
  return Walked(bytes, visitor, fault, [&layout](Walk& walk) { return walk.Fields(layout); });
}
