// Comparing an obfuscated pattern where it lies in its record, for a first look that may end with "not sure".
//
// The pattern is never copied to the heap: equality and beginnings are told from the stored bytes, four units at a
// time; anything else is compared as plain text on the stack, which is wiped.
#pragma once

#include <kx_util/match_str.h>

#include "Agent/engine/kx_util/buffer/obfuscation.h"
#include "Agent/engine/kx_util/buffer/record_scan.h"
#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Common_CPP/util/text_search.h"

enum class EkxFirstLook : unsigned char { Fails, Passes, Unsure };

inline EkxFirstLook KxFirstLook_Of(bool matches) { return matches ? EkxFirstLook::Passes : EkxFirstLook::Fails; }

/// The plain text of a stored one. Not usable: it is too long for the stack, or not all of it is there.
class CkxUnobfuscated {
 public:
  explicit CkxUnobfuscated(const SkxStoredText& stored) : _isUsable(stored.isWhole && stored.count <= sizeof(_units)) {
    if (!_isUsable || stored.count == 0) return;
    _count = stored.count;
    KxObfuscation_Undo(reinterpret_cast<unsigned char*>(_units), stored.bytes, _count);
  }
  ~CkxUnobfuscated() {
    if (_count != 0) KxWipe(_units, _count);
  }
  CkxUnobfuscated(const CkxUnobfuscated&) = delete;
  CkxUnobfuscated& operator=(const CkxUnobfuscated&) = delete;

  bool IsUsable() const { return _isUsable; }
  CkxTextView View() const { return _count != 0 ? CkxTextView::FromBytes(_units, _count) : CkxTextView(KXW("")); }

  /// Null for a text that lacks its terminator.
  const WCHAR* Terminated() const { return View().Size() < _count / sizeof(WCHAR) ? _units : nullptr; }

 private:
  const bool _isUsable;
  size_t _count = 0;
  WCHAR _units[256];
};

/// A pattern with the ways in which it compares, as properties store the three.
struct SkxStoredPattern {
  SkxStoredText text;
  bool caseSensitive = false;
  EkxStrCompareAs compareAs{};

  bool Read(CkxRecordScan& in) {
    uint8_t flag = 0;
    if (!in.StoredText(text) || !in.Read(flag) || !in.Read(compareAs)) return false;
    caseSensitive = flag != 0;
    return true;
  }

  /// Compares in a way that neither compiles anything nor is worth a line of the trace.
  bool IsPlain() const { return compareAs >= EkxStrCompareAs::StrEquals && compareAs <= EkxStrCompareAs::StrWildcard; }

  EkxFirstLook Match(CkxTextView subject) const { return MatchBy(KxUtil_MatchStr, subject); }

  /// The same by a way of comparing of one's own: `match(pattern, subject, caseSensitive, compareAs)`.
  template <class Function>
  EkxFirstLook MatchBy(Function match, CkxTextView subject) const {
    if (!IsPlain()) return EkxFirstLook::Unsure;
    const CkxUnobfuscated pattern(text);
    if (!pattern.IsUsable()) return EkxFirstLook::Unsure;
    return KxFirstLook_Of(match(pattern.View(), subject, caseSensitive, compareAs));
  }

  /// The same without regard to case. `folded` is the subject folded, without space around it and without a NUL.
  EkxFirstLook MatchFolded(CkxTextView subject, const WCHAR* folded) const {
    if (!text.isWhole) return EkxFirstLook::Unsure;
    if (compareAs == EkxStrCompareAs::StrEquals) return KxFirstLook_Of(IsSame(folded, subject.Size()));
    if (compareAs == EkxStrCompareAs::StrStartsWith) return Begins(folded, subject.Size());
    return Match(subject);
  }

 private:
  size_t Units() const { return text.count / sizeof(WCHAR); }
  WCHAR Unit(size_t at) const { return static_cast<WCHAR>(KxUnits_At(text.bytes, at) ^ kKxObfuscationMask); }

  /// Up to its first NUL the pattern is the subject.
  bool IsSame(const WCHAR* folded, size_t size) const {
    return Units() >= size && (Units() == size || Unit(size) == 0) && IsSameFor(folded, size);
  }

  EkxFirstLook Begins(const WCHAR* folded, size_t size) const {
    const size_t units = Units() != 0 && Unit(Units() - 1) == 0 ? Units() - 1 : Units();
    if (units == 0) return EkxFirstLook::Fails;
    if (units <= size && IsSameFor(folded, units)) return EkxFirstLook::Passes;
    for (size_t at = 0; at < units; ++at) {
      if (Unit(at) == 0) return EkxFirstLook::Unsure;  // it ends there, whatever its bytes go on with
    }
    return EkxFirstLook::Fails;
  }

  bool IsSameFor(const WCHAR* folded, size_t count) const {
    if (count < kKxFour) return AreSameUnits(folded, 0, count);
    for (size_t at = 0; at < count - kKxFour; at += kKxFour) {
      if (!AreSameFour(folded, at)) return false;
    }
    return AreSameFour(folded, count - kKxFour);  // some of them for the second time
  }

  bool AreSameFour(const WCHAR* folded, size_t at) const {
    const uint64_t four = KxUnits_FourAt(text.bytes, at) ^ kKxObfuscationMask;
    if (!SkxFoldedUnits::IsPlain(four)) [[unlikely]]
      return AreSameUnits(folded, at, at + kKxFour);
    return SkxFoldedUnits::Four(four) == KxBytes_Load<uint64_t>(folded + at);
  }

  bool AreSameUnits(const WCHAR* folded, size_t at, size_t end) const {
    for (; at < end; ++at) {
      if (KxText_Fold(Unit(at)) != folded[at]) return false;
    }
    return true;
  }
};
