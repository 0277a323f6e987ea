// The tables of an installer package, as they lie in the streams of a compound file.
//
//   names of streams   two characters of [0-9A-Za-z._] a unit: U+3800 + first + 64 * second, the last one alone
//                      U+4800 + it; U+4840 before the name of a table
//   _StringPool        u32 code page, with 0x80000000 where references to texts have three bytes and not two; of each
//                      text: u16 bytes, u16 uses. 0 bytes and some uses: u32 bytes follow. The first text is number 1
//   _StringData        the texts, one behind the other
//   _Columns           of each column: table, u16 0x8000 + its number, name, u16 0x8000 + its type
//   a table            the values of its first column, row by row, then those of the next
//
// Only tables that are asked for are read.
#pragma once

#include <vector>

#include "Common_CPP/ole/compound_file.h"

/// A table that was read; it lives as long as its database.
class CkxMsiTable;

class CkxMsiDatabase {
 public:
  /// Nothing when there are no texts, or they are broken. `file` must live as long.
  static std::optional<CkxMsiDatabase> Open(const CkxCompoundFile& file);

  /// Nothing when there is no such table, or it is broken.
  std::optional<CkxMsiTable> Table(CkxTextView name) const;

  /// The bytes of a text in the database's code page; none for number 0 and those that do not exist.
  std::span<const unsigned char> Text(uint32_t number) const;

  /// The text of these bytes; nothing when they are none in the database's code page.
  std::optional<KxWString> Decode(std::span<const unsigned char> text) const;

 private:
  friend class CkxMsiTable;
  explicit CkxMsiDatabase(const CkxCompoundFile& file) : _file(&file) {}
  bool ReadTexts();

  const CkxCompoundFile* _file;
  unsigned _codePage = 0;
  size_t _referenceBytes = 2;
  std::vector<unsigned char> _texts;
  std::vector<uint32_t> _ends;  // of each text; it begins where the one before ends
};

class CkxMsiTable {
 public:
  struct Column {
    std::string_view name;  // ASCII
    unsigned type;
    bool IsText() const;
  };

  size_t RowCount() const { return _rows; }

  /// The number of the column of texts with that name; nothing when there is none.
  std::optional<size_t> TextColumn(std::string_view name) const;

  /// The bytes of a text.
  std::span<const unsigned char> Text(size_t row, size_t column) const;

 private:
  friend class CkxMsiDatabase;
  CkxMsiTable(const CkxMsiDatabase& database, std::vector<Column> columns, std::vector<unsigned char> bytes);
  uint32_t Number(size_t row, size_t column) const;
  size_t Width(const Column& column) const;

  const CkxMsiDatabase* _database;
  std::vector<Column> _columns;
  std::vector<unsigned char> _bytes;
  size_t _rows = 0;
};
