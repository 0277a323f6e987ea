#include "Agent/engine/kx_util/target/msi_package.h"

#include <algorithm>
#include <cstring>

#include "Agent/engine/kx_util/target/msi_database.h"
#include "Common_CPP/ole/property_set.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint64_t kMaxSummaryBytes = 1024 * 1024;
constexpr size_t kMaxRows = 16 * 1024;
constexpr size_t kMaxPropertyUnits = 4 * 1024 * 1024;  // of all names and values: one text may be told many times

constexpr GUID ClassId(uint32_t kind) { return {kind, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; }
constexpr GUID kPackageClass = ClassId(0xC1084);
constexpr GUID kPatchClass = ClassId(0xC1086);

bool Equal(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }

class Properties {
 public:
  explicit Properties(std::map<KxWString, KxWString>& all) : _all(all) {}

  /// The first of a name counts, and what is empty does not. False once they are too long.
  bool Add(KxWString name, KxWString value) {
    _units += name.size() + value.size();
    if (_units > kMaxPropertyUnits) return false;
    if (!value.empty()) _all.emplace(std::move(name), std::move(value));
    return true;
  }

 private:
  std::map<KxWString, KxWString>& _all;
  size_t _units = 0;
};

/// The rows of a table of names and values; of those with a `company` column the ones where it is empty. False when
/// they are too many; a table that is not there has none.
bool AddTable(const CkxMsiDatabase& database, const WCHAR* name, const char* company, Properties& properties) {
  const std::optional<CkxMsiTable> table = database.Table(name);
  const std::optional<size_t> key = table ? table->TextColumn("Property") : std::nullopt;
  const std::optional<size_t> value = table ? table->TextColumn("Value") : std::nullopt;
  const std::optional<size_t> owner = table && company != nullptr ? table->TextColumn(company) : std::nullopt;
  if (!key || !value || (company != nullptr && !owner)) return true;
  if (table->RowCount() > kMaxRows) return false;
  for (size_t row = 0; row < table->RowCount(); ++row) {
    if (owner && !table->Text(row, *owner).empty()) continue;
    std::optional<KxWString> keyText = database.Decode(table->Text(row, *key));
    std::optional<KxWString> valueText = database.Decode(table->Text(row, *value));
    if (keyText && valueText && !properties.Add(std::move(*keyText), std::move(*valueText))) return false;
  }
  return true;
}

/// "{...}" at the beginning of a text; nothing when it does not begin with one.
KxWString LeadingGuid(const KxWString& text) {
  constexpr size_t kGuidUnits = 38;
  const bool isGuid = text.size() >= kGuidUnits && text.front() == KXW('{') && text[kGuidUnits - 1] == KXW('}');
  return isGuid ? text.substr(0, kGuidUnits) : KxWString();
}

KxPropertyTexts SummaryOf(const CkxCompoundFile& file) {
  const std::optional<SkxCompoundEntry> stream = file.Find(file.Root(), kKxSummaryStream);
  const auto bytes = stream ? file.Read(*stream, kMaxSummaryBytes) : std::nullopt;
  return bytes ? KxOle_SummaryTexts(*bytes).value_or(KxPropertyTexts()) : KxPropertyTexts();
}

struct SkxSummaryName {
  EkxSummaryProperty property;
  const WCHAR* name;
};

constexpr SkxSummaryName kSummaryNames[] = {
    {EkxSummaryProperty::Title, KXW("Summary.Title")},
    {EkxSummaryProperty::Subject, KXW("Summary.Subject")},
    {EkxSummaryProperty::Author, KXW("Summary.Author")},
    {EkxSummaryProperty::Keywords, KXW("Summary.Keywords")},
    {EkxSummaryProperty::Comments, KXW("Summary.Comments")},
    {EkxSummaryProperty::Template, KXW("Summary.Template")},
    {EkxSummaryProperty::LastAuthor, KXW("Summary.LastAuthor")},
    {EkxSummaryProperty::RevisionNumber, KXW("Summary.RevisionNumber")},
};

KxWString Text(const KxPropertyTexts& summary, EkxSummaryProperty property) {
  const auto text = summary.find(static_cast<uint32_t>(property));
  return text != summary.end() ? text->second : KxWString();
}

bool AddSummary(const KxPropertyTexts& summary, Properties& properties) {
  return std::all_of(std::begin(kSummaryNames), std::end(kSummaryNames), [&](const SkxSummaryName& known) {
    return properties.Add(known.name, Text(summary, known.property));
  });
}

bool AddPackage(const CkxMsiDatabase& database, const KxPropertyTexts& summary, Properties& properties) {
  return properties.Add(KXW("PackageCode"), LeadingGuid(Text(summary, EkxSummaryProperty::RevisionNumber))) &&
         AddTable(database, KXW("Property"), nullptr, properties);
}

bool AddPatch(const CkxMsiDatabase* database, const KxPropertyTexts& summary, SkxMsiPackage& package,
              Properties& properties) {
  if (!properties.Add(KXW("PatchCode"), LeadingGuid(Text(summary, EkxSummaryProperty::RevisionNumber))) ||
      !properties.Add(KXW("TargetProductCodes"), Text(summary, EkxSummaryProperty::Template)) ||
      (database != nullptr && !AddTable(*database, KXW("MsiPatchMetadata"), "Company", properties))) {
    return false;
  }
  const auto orSummary = [&](const WCHAR* name, EkxSummaryProperty property) {
    const KxWString* const said = package.Property(name);
    return said != nullptr ? *said : Text(summary, property);
  };
  return properties.Add(KXW("ProductName"), orSummary(KXW("TargetProductName"), EkxSummaryProperty::Subject)) &&
         properties.Add(KXW("Manufacturer"), orSummary(KXW("ManufacturerName"), EkxSummaryProperty::Author));
}

}  // namespace

const KxWString* SkxMsiPackage::Property(CkxTextView name) const {
  const auto property = properties.find(name.ToString());
  return property != properties.end() ? &property->second : nullptr;
}

std::optional<SkxMsiPackage> KxMsi_Read(const IkxByteSource& file) {
  const std::optional<CkxCompoundFile> compound = CkxCompoundFile::Open(file);
  if (!compound) return std::nullopt;
  const GUID classId = compound->Root().classId;
  SkxMsiPackage package;
  package.isPatch = Equal(classId, kPatchClass);
  if (!package.isPatch && !Equal(classId, kPackageClass)) return std::nullopt;
  const std::optional<CkxMsiDatabase> database = CkxMsiDatabase::Open(*compound);
  if (!database && !package.isPatch) return std::nullopt;

  Properties properties(package.properties);
  const KxPropertyTexts summary = SummaryOf(*compound);
  const bool isRead = AddSummary(summary, properties) &&
                      (package.isPatch ? AddPatch(database ? &*database : nullptr, summary, package, properties)
                                       : AddPackage(*database, summary, properties));
  return isRead ? std::optional(std::move(package)) : std::nullopt;
}
