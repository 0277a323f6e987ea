// The building blocks of every record in the policy buffer.
//
//   fields       packed back to back, little-endian, at any address
//   string       u32 byte count, then that many bytes of UTF-16LE; the writer counts a terminating NUL in
//   obfuscated   the same, each byte complemented and XOR-ed with the key of `KxUtil_ObfuscationKey`
//   SID          u32 byte count, then the SID's binary form; a count of 0 is the null SID, S-1-0-0
//   list         u32 count, then that many elements, each as long as its own reader finds it to be
//
// A reader takes the next byte and the count of bytes left, both by reference, advances both by what it consumed and
// returns false as soon as a field is short; what it consumed before stays consumed and the caller abandons the record.
#pragma once

#include "Common_CPP/util/text_view.h"

/// The one byte that obfuscated strings are XOR-ed with: the low 8 bits of the first number of the build's seed text.
KX_UTIL_API unsigned char KxUtil_ObfuscationKey();

/// Un-obfuscated copies that were wiped and freed, by this process. A test's window on the wiping: the hook sees each
/// copy after it was overwritten and before its memory goes back to the heap. Null: nobody watches.
using KxWipeHook = void (*)(const unsigned char* bytes, size_t count);
KX_UTIL_API KxWipeHook KxUtil_SetWipeHook(KxWipeHook hook);

/// A counted string. A plain one points into the record and dies with it; an obfuscated one owns its un-obfuscated text
/// and overwrites it before it frees it.
///
/// A copy has the same fields and owns nothing: it borrows the text, and dies with the string that it was copied from
/// (or that this one was moved to). So a text is freed once, in whatever order copies go. Moving hands on what is
/// owned.
class KX_UTIL_API CkxShBufString {
 public:
  CkxShBufString() = default;
  CkxShBufString(CkxShBufString&& other) noexcept;
  CkxShBufString& operator=(CkxShBufString&& other) noexcept;
  CkxShBufString(const CkxShBufString& other) noexcept;
  CkxShBufString& operator=(const CkxShBufString& other) noexcept;
  ~CkxShBufString() { Release(); }

  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// Accepts a count of up to four bytes more than follow it; bytes that are not there read as 0.
  bool FromBufferAndUnObfuscate(const unsigned char*& cursor, unsigned long& remaining);

  /// The text in place, null when absent. It may lie at an odd address and lack its terminator: in the library only
  /// `View` is used to read it.
  const WCHAR* String() const { return _text; }
  const WCHAR* SafeString() const { return _length > 0 ? _text : KXW(""); }
  operator const WCHAR*() const { return SafeString(); }  // NOLINT(google-explicit-constructor)

  /// The text as far as its first NUL or its counted bytes; the empty text, not "no value", when absent.
  CkxTextView View() const { return _length > 0 ? CkxTextView::FromBytes(_text, _length) : CkxTextView(KXW("")); }

  bool IsEmpty() const { return View().IsEmpty(); }

  /// Bytes as counted in the record, terminator included; 0 when absent.
  uint32_t ByteCount() const { return _length; }

 private:
  /// Empties the string, and frees what it owns.
  void Release() {
    if (_owned != nullptr && !_borrowed) Wipe();
    _length = 0;
    _borrowed = false;
    _text = nullptr;
    _owned = nullptr;
  }
  void Wipe();

  uint32_t _length = 0;
  bool _borrowed = false;  // `_owned` is another string's to free; lies in the gap between the two fields
  const WCHAR* _text = nullptr;
  WCHAR* _owned = nullptr;
};

/// A counted list of heap nodes, made by a factory that reads one element. The list owns its nodes. A copy shares them
/// and owns none: it dies with the list that it was copied from.
class KX_UTIL_API CkxShBufList {
 public:
  /// An element, linked to the next one.
  class KX_UTIL_API CkxNode {
   public:
    virtual ~CkxNode() = default;
    static void* operator new(size_t bytes) noexcept;  ///< null when there is no memory
    static void operator delete(void* piece) noexcept;
    const CkxNode* Next() const { return _next; }
    CkxNode* Next() { return _next; }

   private:
    friend class CkxShBufList;
    CkxNode* _next = nullptr;
  };

  /// Reads one element and returns its node, or null.
  using Factory = CkxNode* (*)(const unsigned char*& cursor, unsigned long& remaining);

  CkxShBufList() = default;
  CkxShBufList(const CkxShBufList& other) noexcept;
  CkxShBufList& operator=(const CkxShBufList& other) noexcept;
  virtual ~CkxShBufList() { _Clear(); }

  /// Replaces what the list holds; on failure, a null factory among them, the list is empty.
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining, Factory factory);

  uint32_t Count() const { return _count; }
  const CkxNode* GetHead() const { return _head; }
  CkxNode* GetHead() { return _head; }

 private:
  void _Clear();

  uint32_t _count = 0;
  bool _borrowed = false;  // the nodes are another list's to destroy; lies in the gap between the two fields
  CkxNode* _head = nullptr;
};

/// The elements of a list, as the type that its factory makes: `for (const CkxShBufTarget& t :
/// CkxNodes<CkxShBufTarget>(list))`.
template <class Node>
class CkxNodes {
 public:
  /// Walks the nodes in their order.
  class Iterator {
   public:
    explicit Iterator(const CkxShBufList::CkxNode* node) : _node(node) {}
    const Node& operator*() const { return static_cast<const Node&>(*_node); }
    Iterator& operator++() {
      _node = _node->Next();
      return *this;
    }
    bool operator!=(const Iterator& other) const { return _node != other._node; }

   private:
    const CkxShBufList::CkxNode* _node;
  };

  explicit CkxNodes(const CkxShBufList& list) : _head(list.GetHead()) {}
  Iterator begin() const { return Iterator(_head); }
  Iterator end() const { return Iterator(nullptr); }

 private:
  const CkxShBufList::CkxNode* _head;
};
