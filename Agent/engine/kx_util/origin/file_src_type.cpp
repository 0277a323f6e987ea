#include <kx_util/file_src_type.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/text.h"

namespace {

using EkxType = CkxFileSrcType::EkxType;

struct SourceType {
  EkxType type;
  const char* name;
  const WCHAR* locationType;  ///< null: does not follow from a place
};

/// By rank. A local share comes before a share on purpose.
constexpr SourceType kSourceTypes[] = {
    {CkxFileSrcType::Internet, "Internet", KXW("INTERNET")},
    {CkxFileSrcType::EMail, "eMail", nullptr},
    {CkxFileSrcType::SoftwareDistributor, "SoftwareDistributor", nullptr},
    {CkxFileSrcType::LocalShare, "LocalShare", KXW("LOCALSHARE")},
    {CkxFileSrcType::Share, "Share", KXW("REMOTE")},
    {CkxFileSrcType::Removable, "Removable", KXW("REMOVABLE")},
    {CkxFileSrcType::Cdrom, "CDROM", KXW("CDROM")},
    {CkxFileSrcType::DevApp, "DevApp", nullptr},
};

constexpr size_t kMaxTypes = 0x1FFFFFFF;

const SourceType* RowOf(EkxType type) {
  const auto* const row = std::find_if(std::begin(kSourceTypes), std::end(kSourceTypes),
                                       [type](const SourceType& known) { return known.type == type; });
  return row != std::end(kSourceTypes) ? row : nullptr;
}

/// Those that the table does not have rank behind its last row.
size_t RankOf(EkxType type) {
  const SourceType* const row = RowOf(type);
  return static_cast<size_t>((row != nullptr ? row : std::end(kSourceTypes)) - std::begin(kSourceTypes));
}

WCHAR FoldAscii(WCHAR unit) { return static_cast<WCHAR>(unit >= KXW('a') && unit <= KXW('z') ? unit - 0x20 : unit); }

/// By a text of `size` units, of which those beyond ASCII are equal to none of a name.
template <class UnitAt>
EkxType TypeNamed(size_t size, UnitAt unitAt) {
  for (const SourceType& row : kSourceTypes) {
    const std::string_view name = row.name;
    size_t same = 0;
    while (same < name.size() && same < size && FoldAscii(unitAt(same)) == FoldAscii(static_cast<WCHAR>(name[same]))) {
      ++same;
    }
    if (same == name.size() && same == size) return row.type;
  }
  return CkxFileSrcType::None;
}

EkxType TypeNamed(CkxTextView text) {
  return TypeNamed(text.Size(), [text](size_t at) { return text[at]; });
}

}  // namespace

int CkxFileSrcType::ComparePriority(const CkxFileSrcType& other) const {
  const size_t left = RankOf(_type);
  const size_t right = RankOf(other._type);
  return left == right ? 0 : left < right ? -1 : 1;
}

const char* CkxFileSrcType::ToStr(EkxType type) {
  const SourceType* const row = RowOf(type);
  return row != nullptr ? row->name : nullptr;
}

CkxFileSrcType::EkxType CkxFileSrcType::FromStr(const char* name) {
  const std::string_view text = name != nullptr ? name : "";
  return TypeNamed(text.size(), [text](size_t at) { return static_cast<WCHAR>(static_cast<unsigned char>(text[at])); });
}

CkxFileSrcType::EkxType CkxFileSrcType::FromStr(const WCHAR* name) { return TypeNamed(name); }

bool CkxFileSrcType::IsLocationBased(EkxType type) { return type >= Share && type <= Cdrom; }

CkxFileSrcType::EkxType CkxFileSrcType::FromLocationType(const WCHAR* locationType) {
  for (const SourceType& row : kSourceTypes) {
    if (row.locationType != nullptr && KxText_Equals(row.locationType, locationType, false)) return row.type;
  }
  return None;
}

const WCHAR* CkxFileSrcType::ToLocationType(EkxType type) {
  const SourceType* const row = RowOf(type);
  return row != nullptr ? row->locationType : nullptr;
}

struct CkxFileSrcTypeArray::Types {
  std::vector<EkxType> list;
};

CkxFileSrcTypeArray::CkxFileSrcTypeArray() = default;
CkxFileSrcTypeArray::~CkxFileSrcTypeArray() = default;
CkxFileSrcTypeArray::CkxFileSrcTypeArray(const CkxFileSrcTypeArray& other) { *this = other; }

CkxFileSrcTypeArray& CkxFileSrcTypeArray::operator=(const CkxFileSrcTypeArray& other) {
  if (this == &other) return *this;
  _types.reset();
  for (int i = 0; i < other.GetCount(); ++i) Add(other.GetAt(i));
  return *this;
}

void CkxFileSrcTypeArray::Create() {
  KxEntry([&] {
    if (_types == nullptr) _types = std::make_unique<Types>();
  });
}

void CkxFileSrcTypeArray::Add(EkxType type) {
  Create();
  KxEntry([&] {
    if (_types != nullptr && _types->list.size() < kMaxTypes) _types->list.push_back(type);
  });
}

int CkxFileSrcTypeArray::GetCount() const { return _types != nullptr ? static_cast<int>(_types->list.size()) : 0; }
CkxFileSrcType CkxFileSrcTypeArray::GetAt(int index) const { return _types->list[static_cast<size_t>(index)]; }

void CkxFileSrcTypeArray::Sort() const {
  if (_types == nullptr) return;
  std::stable_sort(_types->list.begin(), _types->list.end(),
                   [](EkxType left, EkxType right) { return RankOf(left) < RankOf(right); });
}

const CkxUtilStr& CkxFileSrcTypeArray::ToStr(CkxUtilStr& out) const {
  out.Empty();
  Sort();
  KxEntry([&] {
    std::string names;
    for (int i = 0; i < GetCount(); ++i) {
      const char* const name = GetAt(i);
      if (name != nullptr) names.append(names.empty() ? "" : _DELIMITER).append(name);
    }
    out = KxWString(names.begin(), names.end());
  });
  return out;
}

void CkxFileSrcTypeArray::FromStr(const WCHAR* text) {
  _types.reset();
  KxText_AnyField(text, KXW(','), [this](CkxTextView field) {
    const EkxType type = TypeNamed(field);
    if (type != CkxFileSrcType::None) Add(type);
    return false;
  });
}
