#include "Common_CPP/security/sddl_names.h"

#include <array>
#include <charconv>

#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxSidUnits = 256;    // the longest has 15 sub-authorities of 10 digits
constexpr size_t kMaxNumberUnits = 16;  // leading zeros included

constexpr SkxSddlType kTypes[] = {
    // name, list, type, objects, label, supported
    {KXW("A"), EkxSddlAcl::Discretionary, EkxAceType::Allow, false, false, true},
    {KXW("D"), EkxSddlAcl::Discretionary, EkxAceType::Deny, false, false, true},
    {KXW("OA"), EkxSddlAcl::Discretionary, EkxAceType::ObjectAllow, true, false, true},
    {KXW("OD"), EkxSddlAcl::Discretionary, EkxAceType::ObjectDeny, true, false, true},
    {KXW("XA"), EkxSddlAcl::Discretionary, EkxAceType::Allow, false, false, false},
    {KXW("XD"), EkxSddlAcl::Discretionary, EkxAceType::Deny, false, false, false},
    {KXW("ZA"), EkxSddlAcl::Discretionary, EkxAceType::ObjectAllow, true, false, false},
    {KXW("AU"), EkxSddlAcl::System, EkxAceType::Allow, false, false, true},
    {KXW("AL"), EkxSddlAcl::System, EkxAceType::Allow, false, false, true},
    {KXW("OU"), EkxSddlAcl::System, EkxAceType::Allow, true, false, true},
    {KXW("OL"), EkxSddlAcl::System, EkxAceType::Allow, true, false, true},
    {KXW("ML"), EkxSddlAcl::System, EkxAceType::Allow, false, true, true},
    {KXW("SP"), EkxSddlAcl::System, EkxAceType::Allow, false, false, true},
    {KXW("TL"), EkxSddlAcl::System, EkxAceType::Allow, false, false, true},
    {KXW("FL"), EkxSddlAcl::System, EkxAceType::Allow, false, false, true},
    {KXW("RA"), EkxSddlAcl::System, EkxAceType::Allow, false, false, false},
    {KXW("XU"), EkxSddlAcl::System, EkxAceType::Allow, false, false, false},
};

struct SkxFlag {
  KxWStringView name;
  unsigned char value;
};

constexpr SkxFlag kFlags[] = {
    {KXW("OI"), 0x01}, {KXW("CI"), 0x02}, {KXW("NP"), 0x04}, {KXW("IO"), kKxAceInheritOnly},
    {KXW("ID"), 0x10}, {KXW("CR"), 0x20}, {KXW("TP"), 0x40}, {KXW("SA"), 0x40},
    {KXW("FA"), 0x80},
};

struct SkxRight {
  KxWStringView name;
  uint32_t value;
  bool ofLabel = false;
};

constexpr SkxRight kRights[] = {
    // generic and standard
    {KXW("GA"), 0x10000000},
    {KXW("GX"), 0x20000000},
    {KXW("GW"), 0x40000000},
    {KXW("GR"), 0x80000000},
    {KXW("RC"), 0x00020000},
    {KXW("SD"), 0x00010000},
    {KXW("WD"), 0x00040000},
    {KXW("WO"), 0x00080000},
    // directory objects
    {KXW("CC"), 0x00000001},
    {KXW("DC"), 0x00000002},
    {KXW("LC"), 0x00000004},
    {KXW("SW"), 0x00000008},
    {KXW("RP"), 0x00000010},
    {KXW("WP"), 0x00000020},
    {KXW("DT"), 0x00000040},
    {KXW("LO"), 0x00000080},
    {KXW("CR"), 0x00000100},
    // files and registry keys
    {KXW("FA"), 0x001F01FF},
    {KXW("FR"), 0x00120089},
    {KXW("FW"), 0x00120116},
    {KXW("FX"), 0x001200A0},
    {KXW("KA"), 0x000F003F},
    {KXW("KR"), 0x00020019},
    {KXW("KW"), 0x00020006},
    {KXW("KX"), 0x00020019},
    // labels
    {KXW("NW"), 0x00000001, true},
    {KXW("NR"), 0x00000002, true},
    {KXW("NX"), 0x00000004, true},
};

struct SkxAlias {
  KxWStringView name;
  const char* sid;  // null: relative to a domain
};

constexpr SkxAlias kAliases[] = {
    // everywhere the same
    {KXW("WD"), "S-1-1-0"},
    {KXW("CO"), "S-1-3-0"},
    {KXW("CG"), "S-1-3-1"},
    {KXW("OW"), "S-1-3-4"},
    {KXW("NU"), "S-1-5-2"},
    {KXW("IU"), "S-1-5-4"},
    {KXW("SU"), "S-1-5-6"},
    {KXW("AN"), "S-1-5-7"},
    {KXW("ED"), "S-1-5-9"},
    {KXW("PS"), "S-1-5-10"},
    {KXW("AU"), "S-1-5-11"},
    {KXW("RC"), "S-1-5-12"},
    {KXW("SY"), "S-1-5-18"},
    {KXW("LS"), "S-1-5-19"},
    {KXW("NS"), "S-1-5-20"},
    {KXW("WR"), "S-1-5-33"},
    {KXW("UD"), "S-1-5-84-0-0-0-0-0"},
    {KXW("AC"), "S-1-15-2-1"},
    {KXW("LW"), "S-1-16-4096"},
    {KXW("ME"), "S-1-16-8192"},
    {KXW("MP"), "S-1-16-8448"},
    {KXW("HI"), "S-1-16-12288"},
    {KXW("SI"), "S-1-16-16384"},
    {KXW("AS"), "S-1-18-1"},
    {KXW("SS"), "S-1-18-2"},
    // of the machine
    {KXW("BA"), "S-1-5-32-544"},
    {KXW("BU"), "S-1-5-32-545"},
    {KXW("BG"), "S-1-5-32-546"},
    {KXW("PU"), "S-1-5-32-547"},
    {KXW("AO"), "S-1-5-32-548"},
    {KXW("SO"), "S-1-5-32-549"},
    {KXW("PO"), "S-1-5-32-550"},
    {KXW("BO"), "S-1-5-32-551"},
    {KXW("RE"), "S-1-5-32-552"},
    {KXW("RU"), "S-1-5-32-554"},
    {KXW("RD"), "S-1-5-32-555"},
    {KXW("NO"), "S-1-5-32-556"},
    {KXW("MU"), "S-1-5-32-558"},
    {KXW("LU"), "S-1-5-32-559"},
    {KXW("IS"), "S-1-5-32-568"},
    {KXW("CY"), "S-1-5-32-569"},
    {KXW("ER"), "S-1-5-32-573"},
    {KXW("CD"), "S-1-5-32-574"},
    {KXW("RA"), "S-1-5-32-575"},
    {KXW("ES"), "S-1-5-32-576"},
    {KXW("MS"), "S-1-5-32-577"},
    {KXW("HA"), "S-1-5-32-578"},
    {KXW("AA"), "S-1-5-32-579"},
    {KXW("RM"), "S-1-5-32-580"},
    {KXW("HO"), "S-1-5-32-584"},
    {KXW("SH"), "S-1-5-32-585"},
    // of a domain
    {KXW("RO"), nullptr},
    {KXW("LA"), nullptr},
    {KXW("LG"), nullptr},
    {KXW("DA"), nullptr},
    {KXW("DU"), nullptr},
    {KXW("DG"), nullptr},
    {KXW("DC"), nullptr},
    {KXW("DD"), nullptr},
    {KXW("CA"), nullptr},
    {KXW("SA"), nullptr},
    {KXW("EA"), nullptr},
    {KXW("PA"), nullptr},
    {KXW("CN"), nullptr},
    {KXW("AP"), nullptr},
    {KXW("KA"), nullptr},
    {KXW("EK"), nullptr},
    {KXW("RS"), nullptr},
};

template <class Row, size_t count>
const Row* FindRow(const Row (&table)[count], CkxTextView name) {
  for (const Row& row : table) {
    if (row.name.size() == name.Size() && KxText_Equals(row.name, name, true)) return &row;
  }
  return nullptr;
}

/// The units as characters in `buffer`, letters in capitals. Nothing when they are too many or one is not ASCII.
template <size_t size>
std::optional<std::string_view> Capitals(CkxTextView text, std::array<char, size>& buffer) {
  if (text.Size() > size) return std::nullopt;
  for (size_t i = 0; i < text.Size(); ++i) {
    const WCHAR unit = text[i];
    if (unit >= 0x80) return std::nullopt;
    buffer[i] = static_cast<char>(KxText_Fold(unit));
  }
  return std::string_view(buffer.data(), text.Size());
}

}  // namespace

const SkxSddlType* KxSddl_FindType(CkxTextView name) { return FindRow(kTypes, name); }

EkxAceType KxSddl_WithoutObject(EkxAceType type) {
  if (type == EkxAceType::ObjectAllow) return EkxAceType::Allow;
  return type == EkxAceType::ObjectDeny ? EkxAceType::Deny : type;
}

std::optional<unsigned char> KxSddl_FindFlag(CkxTextView name) {
  const SkxFlag* const flag = FindRow(kFlags, name);
  if (flag == nullptr) return std::nullopt;
  return flag->value;
}

std::optional<uint32_t> KxSddl_FindRight(CkxTextView name, bool ofLabel) {
  const SkxRight* const right = FindRow(kRights, name);
  if (right == nullptr || right->ofLabel != ofLabel) return std::nullopt;
  return right->value;
}

bool KxSddl_Number(CkxTextView text, uint32_t& number) {
  std::array<char, kMaxNumberUnits> buffer{};
  std::optional<std::string_view> digits = Capitals(text, buffer);
  if (!digits) return false;
  int base = 10;
  if (digits->starts_with("0X")) {
    base = 16;
    digits->remove_prefix(2);
  } else if (digits->size() > 1 && digits->starts_with("0")) {
    base = 8;
  }
  const char* const end = digits->data() + digits->size();
  const auto [stop, error] = std::from_chars(digits->data(), end, number, base);
  return error == std::errc() && stop == end;
}

std::optional<CkxSid> KxSddl_FindSid(CkxTextView text, bool& ofDomain) {
  ofDomain = false;
  std::array<char, kMaxSidUnits> buffer{};
  const std::optional<std::string_view> name = Capitals(text, buffer);
  if (!name) return std::nullopt;
  if (name->size() != 2) return CkxSid::FromUtf8(*name);
  const WCHAR letters[] = {static_cast<WCHAR>((*name)[0]), static_cast<WCHAR>((*name)[1])};
  const SkxAlias* const alias = FindRow(kAliases, CkxTextView(letters, 2));
  ofDomain = alias != nullptr && alias->sid == nullptr;
  return alias == nullptr || ofDomain ? std::nullopt : CkxSid::FromUtf8(alias->sid);
}
