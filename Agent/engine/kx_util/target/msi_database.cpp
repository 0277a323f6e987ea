#include "Agent/engine/kx_util/target/msi_database.h"

#include <algorithm>
#include <map>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/code_page.h"

namespace {

constexpr uint64_t kMaxPoolBytes = 4 * 1024 * 1024;  // a million texts
constexpr uint64_t kMaxTextBytes = 16 * 1024 * 1024;
constexpr uint64_t kMaxTableBytes = 4 * 1024 * 1024;

// Types of columns.
constexpr unsigned kSizeMask = 0xFF;
constexpr unsigned kText = 0x800;
constexpr unsigned kStream = 0x900;  // the row has a stream of its own, and two bytes here
constexpr unsigned kNullable = 0x1000;
constexpr unsigned kNumberBias = 0x8000;

/// Of a character that names of tables are made of: 0 to 63.
WCHAR Packed(WCHAR unit) {
  constexpr KxWStringView kCharacters = KXW("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._");
  return static_cast<WCHAR>(std::min(kCharacters.find(unit), kCharacters.size() - 1));
}

KxWString StreamName(CkxTextView table) {
  KxWString name(1, WCHAR{0x4840});
  for (size_t at = 0; at < table.Size(); at += 2) {
    const unsigned first = Packed(table[at]);
    const bool isLast = at + 1 == table.Size();
    name += static_cast<WCHAR>(isLast ? 0x4800 + first : 0x3800 + first + 64u * Packed(table[at + 1]));
  }
  return name;
}

std::optional<std::vector<unsigned char>> ReadTableStream(const CkxCompoundFile& file, CkxTextView table,
                                                          uint64_t limit) {
  const std::optional<SkxCompoundEntry> stream = file.Find(file.Root(), StreamName(table));
  return stream ? file.Read(*stream, limit) : std::nullopt;
}

std::string_view Ascii(std::span<const unsigned char> text) {
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

bool EqualsAscii(std::string_view ascii, CkxTextView text) {
  if (ascii.size() != text.Size()) return false;
  for (size_t at = 0; at < ascii.size(); ++at) {
    if (static_cast<unsigned char>(ascii[at]) != text[at]) return false;
  }
  return true;
}

}  // namespace

std::optional<CkxMsiDatabase> CkxMsiDatabase::Open(const CkxCompoundFile& file) {
  CkxMsiDatabase database(file);
  if (!database.ReadTexts()) return std::nullopt;
  return database;
}

bool CkxMsiDatabase::ReadTexts() {
  constexpr uint32_t kLongReferences = 0x80000000;
  const auto pool = ReadTableStream(*_file, KXW("_StringPool"), kMaxPoolBytes);
  auto texts = ReadTableStream(*_file, KXW("_StringData"), kMaxTextBytes);
  if (!pool || !texts) return false;
  _texts = std::move(*texts);

  const unsigned char* at = pool->data();
  auto left = static_cast<unsigned long>(pool->size());
  CkxByteCursor in(at, left);
  uint32_t flags = 0;
  if (!in.U32(flags)) return false;
  _codePage = flags & ~kLongReferences;
  if (_codePage == 0) _codePage = kKxCodePageLatin;  // "neutral", where only ASCII is sure
  _referenceBytes = (flags & kLongReferences) != 0 ? 3 : 2;

  _ends.push_back(0);  // of number 0, which is no text
  for (uint16_t bytes = 0, uses = 0; in.U16(bytes) && in.U16(uses);) {
    uint32_t size = bytes;
    if (size == 0 && uses != 0 && !in.U32(size)) return false;
    if (size > _texts.size() - _ends.back()) return false;
    _ends.push_back(_ends.back() + size);
  }
  return true;
}

std::span<const unsigned char> CkxMsiDatabase::Text(uint32_t number) const {
  if (number == 0 || number >= _ends.size()) return {};
  return std::span(_texts).subspan(_ends[number - 1], _ends[number] - _ends[number - 1]);
}

std::optional<KxWString> CkxMsiDatabase::Decode(std::span<const unsigned char> text) const {
  return KxText_FromCodePage(text, _codePage);
}

std::optional<CkxMsiTable> CkxMsiDatabase::Table(CkxTextView name) const {
  std::optional<std::vector<unsigned char>> described = ReadTableStream(*_file, KXW("_Columns"), kMaxTableBytes);
  std::optional<std::vector<unsigned char>> bytes = ReadTableStream(*_file, name, kMaxTableBytes);
  if (!described || !bytes) return std::nullopt;
  const CkxMsiTable all(*this, {{"Table", kText}, {"Number", 2}, {"Name", kText}, {"Type", 2}}, std::move(*described));
  std::map<uint32_t, CkxMsiTable::Column> columns;  // by their numbers, from 1 on
  for (size_t row = 0; row < all.RowCount(); ++row) {
    if (!EqualsAscii(Ascii(all.Text(row, 0)), name)) continue;
    const CkxMsiTable::Column column = {Ascii(all.Text(row, 2)), all.Number(row, 3) ^ kNumberBias};
    if (!columns.emplace(all.Number(row, 1) ^ kNumberBias, column).second) return std::nullopt;
  }
  if (columns.empty() || columns.rbegin()->first != columns.size()) return std::nullopt;
  std::vector<CkxMsiTable::Column> inOrder;
  inOrder.reserve(columns.size());
  for (const auto& [number, column] : columns) inOrder.push_back(column);
  return CkxMsiTable(*this, std::move(inOrder), std::move(*bytes));
}

bool CkxMsiTable::Column::IsText() const { return (type & kText) != 0 && (type & ~kNullable) != kStream; }

CkxMsiTable::CkxMsiTable(const CkxMsiDatabase& database, std::vector<Column> columns, std::vector<unsigned char> bytes)
    : _database(&database), _columns(std::move(columns)), _bytes(std::move(bytes)) {
  size_t rowBytes = 0;
  for (const Column& column : _columns) rowBytes += Width(column);
  _rows = _bytes.size() / rowBytes;
}

size_t CkxMsiTable::Width(const Column& column) const {
  if (column.IsText()) return _database->_referenceBytes;
  return (column.type & kText) == 0 && (column.type & kSizeMask) == 4 ? 4 : 2;
}

uint32_t CkxMsiTable::Number(size_t row, size_t column) const {
  size_t at = row * Width(_columns[column]);
  for (size_t before = 0; before < column; ++before) at += _rows * Width(_columns[before]);
  uint32_t number = 0;
  std::copy_n(_bytes.begin() + static_cast<std::ptrdiff_t>(at), Width(_columns[column]),
              reinterpret_cast<unsigned char*>(&number));
  return number;
}

std::span<const unsigned char> CkxMsiTable::Text(size_t row, size_t column) const {
  return _database->Text(Number(row, column));
}

std::optional<size_t> CkxMsiTable::TextColumn(std::string_view name) const {
  for (size_t column = 0; column < _columns.size(); ++column) {
    if (_columns[column].name == name && _columns[column].IsText()) return column;
  }
  return std::nullopt;
}
