#include "Common_CPP/security/sddl.h"

#include <algorithm>
#include <iterator>

#include "Common_CPP/security/sddl_names.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kAclHeaderBytes = 8;
constexpr size_t kAceHeaderBytes = 8;  // with the mask
constexpr size_t kAceMinBytes = kAceHeaderBytes + CkxSid::kHeaderBytes + 4;
constexpr size_t kObjectHeaderBytes = 4;  // which of the GUIDs follow
constexpr size_t kGuidUnits = 36;

/// A piece of the text, blanks around it taken off.
struct SkxPiece {
  size_t from = 0;
  size_t to = 0;

  bool IsEmpty() const { return from == to; }
};

/// One pass over the text, left to right. A step returns false after it has noted the fault.
class CkxSddlParser {
 public:
  CkxSddlParser(CkxTextView text, SkxSecurityDescriptor& descriptor) : _text(text), _descriptor(descriptor) {}

  SkxSddlStatus Parse() {
    SkipBlanks();
    if (AtEnd()) Fail(EkxSddlFault::Empty, _at);
    while (_status.IsOk() && !AtEnd() && Part()) SkipBlanks();
    return _status;
  }

 private:
  bool Fail(EkxSddlFault fault, size_t offset) {
    _status = {fault, offset};
    return false;
  }

  bool AtEnd() const { return _at == _text.Size(); }
  bool IsAt(WCHAR unit) const { return !AtEnd() && _text[_at] == unit; }
  CkxTextView Text(SkxPiece piece) const { return _text.Part(piece.from, piece.to - piece.from); }
  void SkipBlanks() {
    while (IsAt(KXW(' '))) ++_at;
  }

  bool Skip(CkxTextView word) {
    if (!KxText_StartsWith(_text.Part(_at), word, true)) return false;
    _at += word.Size();
    return true;
  }

  SkxPiece Trimmed(size_t from, size_t to) const {
    while (from < to && _text[from] == KXW(' ')) ++from;
    while (from < to && _text[to - 1] == KXW(' ')) --to;
    return {from, to};
  }

  bool Part() {
    const size_t begin = _at;
    const WCHAR letter = _text[_at];
    const size_t index = KxText_FindUnit(KXW("OGDS"), letter);
    if (index == CkxTextView::npos || _text.Size() - _at < 2 || _text[_at + 1] != KXW(':')) {
      return Fail(EkxSddlFault::Unexpected, begin);
    }
    if ((_seen & 1u << index) != 0) return Fail(EkxSddlFault::RepeatedPart, begin);
    _seen |= 1u << index;
    _at += 2;
    switch (letter) {
      case KXW('O'):
        return Account(_descriptor.owner);
      case KXW('G'):
        return Account(_descriptor.group);
      case KXW('D'):
        return Dacl();
      default:
        SkipAclFlags();
        return Aces(EkxSddlAcl::System);
    }
  }

  /// The SID of a part: as far as the letter and the colon of the next one.
  bool Account(CkxSid& sid) {
    const size_t colon = KxText_FindUnit(_text.Part(_at), KXW(':'));
    const size_t end = colon == CkxTextView::npos ? _text.Size() : _at + (colon == 0 ? 0 : colon - 1);
    const SkxPiece piece = Trimmed(_at, end);
    _at = end;
    return Sid(piece, sid);
  }

  bool Dacl() {
    bool isNull = false;
    SkipAclFlags(&isNull);
    _descriptor.dacl = isNull ? EkxDacl::Null : EkxDacl::Present;
    if (isNull && IsAt(KXW('('))) return Fail(EkxSddlFault::Unexpected, _at);
    _descriptor.aces.reserve(AceCountAtMost());  // the one allocation
    return Aces(EkxSddlAcl::Discretionary);
  }

  size_t AceCountAtMost() const {
    size_t count = 0;
    for (size_t at = _at; at < _text.Size(); ++at) count += size_t{_text[at] == KXW('(')};
    return std::min(count, kKxAclMaxBytes / kAceMinBytes);
  }

  /// They say how a list came about, but for the one that says that there is none; `isNull` where it may stand.
  void SkipAclFlags(bool* isNull = nullptr) {
    for (SkipBlanks(); !AtEnd(); SkipBlanks()) {
      if (isNull != nullptr && Skip(KXW("NO_ACCESS_CONTROL"))) {
        *isNull = true;
      } else if (!Skip(KXW("P")) && !Skip(KXW("AR")) && !Skip(KXW("AI"))) {
        break;
      }
    }
  }

  bool Aces(EkxSddlAcl acl) {
    size_t total = kAclHeaderBytes;
    for (; IsAt(KXW('(')); SkipBlanks()) {
      const size_t begin = _at++;
      SkxAce ace;
      size_t bytes = 0;
      if (!Ace(acl, ace, bytes)) return false;
      total += bytes;
      if (total > kKxAclMaxBytes) return Fail(EkxSddlFault::TooLarge, begin);
      if (acl == EkxSddlAcl::Discretionary) _descriptor.aces.push_back(ace);
    }
    return true;
  }

  bool Ace(EkxSddlAcl acl, SkxAce& ace, size_t& bytes) {
    const SkxSddlType* type = nullptr;
    SkxPiece piece;
    bool object = false;
    bool inherited = false;
    // clang-format off
    const bool read = Field(KXW(';'), piece) && Type(acl, piece, type) &&
                      Field(KXW(';'), piece) && Flags(piece, ace.flags) &&
                      Field(KXW(';'), piece) && Rights(*type, piece, ace.mask) &&
                      Field(KXW(';'), piece) && Object(*type, piece, object) &&
                      Field(KXW(';'), piece) && Object(*type, piece, inherited) &&
                      Field(KXW(')'), piece) && Sid(piece, ace.sid);
    // clang-format on
    if (!read) return false;
    ace.type = object ? type->type : KxSddl_WithoutObject(type->type);
    const size_t guids = size_t{object} + size_t{inherited};
    bytes = kAceHeaderBytes + ace.sid.Size() + (guids == 0 ? 0 : kObjectHeaderBytes + guids * sizeof(GUID));
    return true;
  }

  /// What comes before `end`, which is stepped over; any other unit with a meaning for the form of an ACE is a fault.
  bool Field(WCHAR end, SkxPiece& piece) {
    const size_t begin = _at;
    while (!AtEnd() && !IsAt(KXW(';')) && !IsAt(KXW('(')) && !IsAt(KXW(')'))) ++_at;
    if (!IsAt(end)) return Fail(EkxSddlFault::Fields, _at);
    piece = Trimmed(begin, _at++);
    return true;
  }

  bool Type(EkxSddlAcl acl, SkxPiece piece, const SkxSddlType*& type) {
    type = KxSddl_FindType(Text(piece));
    if (type == nullptr) return Fail(EkxSddlFault::Type, piece.from);
    if (!type->isSupported) return Fail(EkxSddlFault::Unsupported, piece.from);
    return type->acl == acl || Fail(EkxSddlFault::Type, piece.from);
  }

  bool Flags(SkxPiece piece, unsigned char& flags) {
    for (size_t at = piece.from; at < piece.to; at += 2) {
      const std::optional<unsigned char> flag = KxSddl_FindFlag(Text({at, std::min(at + 2, piece.to)}));
      if (!flag) return Fail(EkxSddlFault::Flag, at);
      flags |= *flag;
    }
    return true;
  }

  bool Rights(const SkxSddlType& type, SkxPiece piece, uint32_t& mask) {
    if (!piece.IsEmpty() && _text[piece.from] >= KXW('0') && _text[piece.from] <= KXW('9')) {
      return KxSddl_Number(Text(piece), mask) || Fail(EkxSddlFault::Right, piece.from);
    }
    for (size_t at = piece.from; at < piece.to; at += 2) {
      const std::optional<uint32_t> right = KxSddl_FindRight(Text({at, std::min(at + 2, piece.to)}), type.isLabel);
      if (!right) return Fail(EkxSddlFault::Right, at);
      mask |= *right;
    }
    return true;
  }

  /// Which object it is nobody asks: a check without objects only minds that there is one.
  bool Object(const SkxSddlType& type, SkxPiece piece, bool& given) {
    given = !piece.IsEmpty();
    if (!given) return true;
    const bool isGuid = type.hasObjects && piece.to - piece.from == kGuidUnits &&
                        KxGuid_FromUtf8(KxText_ToUtf8(Text(piece))).has_value();
    return isGuid || Fail(EkxSddlFault::Object, piece.from);
  }

  bool Sid(SkxPiece piece, CkxSid& sid) {
    bool ofDomain = false;
    const std::optional<CkxSid> found = KxSddl_FindSid(Text(piece), ofDomain);
    if (!found) return Fail(ofDomain ? EkxSddlFault::DomainSid : EkxSddlFault::Sid, piece.from);
    sid = *found;
    return true;
  }

  const CkxTextView _text;
  SkxSecurityDescriptor& _descriptor;
  SkxSddlStatus _status;
  size_t _at = 0;
  unsigned _seen = 0;  // a bit a part
};

}  // namespace

SkxSddlStatus KxSddl_Parse(CkxTextView text, SkxSecurityDescriptor& descriptor) {
  descriptor = SkxSecurityDescriptor();
  const SkxSddlStatus status = CkxSddlParser(text, descriptor).Parse();
  if (!status.IsOk()) descriptor = SkxSecurityDescriptor();
  return status;
}

const char* KxSddl_FaultText(EkxSddlFault fault) {
  constexpr const char* kTexts[] = {"no fault",
                                    "no descriptor",
                                    "neither a part nor an ACE",
                                    "a part again",
                                    "not the six fields of an ACE",
                                    "no type of an ACE in this list",
                                    "conditions and attributes are not supported",
                                    "unknown flag",
                                    "unknown right",
                                    "no object of this type",
                                    "unknown SID",
                                    "a SID that needs a domain",
                                    "the list is too large"};
  const auto index = static_cast<size_t>(fault);
  return index < std::size(kTexts) ? kTexts[index] : kTexts[0];
}
