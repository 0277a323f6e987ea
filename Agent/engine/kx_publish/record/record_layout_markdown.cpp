#include "Agent/engine/kx_publish/record/record_layout_markdown.h"

#include <kx_util/policy_codes.h>
#include <kx_util/shared_policy.h>

#include <algorithm>
#include <iterator>

#include "Agent/engine/kx_publish/record/encode.h"
#include "Agent/engine/kx_publish/record/record_walk.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const char* kIntroduction = R"(# Record formats

What the agent's service publishes and every process with `kx_util` in it reads: policies, application groups and alerts, as packed
binary records in shared memory. This is the reference for whoever writes another producer, or reads an image without the library.
`kxpolicy check DIR` holds an image against all that is said here, byte by byte.

The tables are rendered from the ones that `kxpolicy check` goes by (`Agent/engine/kx_publish/record/record_layout.h`); a test keeps this file
the same.

## How fields are written

- Fields are packed back to back, without alignment. Only the fixed headers have unused bytes. Numbers are little-endian, at any address.
- **u8**, **u16**, **u32**, **u64**, **i64**: numbers of so many bits. **flag**: one byte, any value but 0 is true; write 1.
- **GUID**: 16 bytes; the first three groups are little-endian numbers, the last eight bytes are as written.
- **text**: u32 count of bytes, then so many bytes of UTF-16LE. The terminating NUL is part of the text and of the count: readers use the
  text in place. An absent text, and an empty one, is a count of 0 alone. A reader takes a text up to its first NUL or its last
  whole unit, whichever comes first.
- **obfuscated text**: the same, each byte of the text, its NUL included, stored as (NOT byte) XOR *key*; the count is in clear. The
  key is the low 8 bits of the decimal number that the build's seed text begins with; the default seed begins with 2654435769, its key
  is 0xB9, so each byte is XOR-ed with 0x46. Producer and readers must be built with the same seed. It keeps casual eyes
  out, it is no encryption.
- **data**: u32 count of bytes, then so many bytes that are handed on as they are.
- **SID**: u32 count of bytes, then the system's binary form: u8 revision 1, u8 count of sub-authorities (1 to 15), 6 bytes of authority with the most
  significant first, the sub-authorities as u32. A count of 0 is S-1-0-0.
- **version**: u32 major << 16 | minor, u32 build << 16 | revision. All ones is no version: an open bound.
- **list**: u32 count, then so many elements, each as long as its own fields make it. Nothing says where an element ends: a list can only be
  walked by reading it.
- **property**: one flag byte. 0: the property is not set, asks for nothing, and nothing else of it is stored. Any other value: its fields
  follow. An element of a list of properties has such a flag of its own.

## What a reader does

- A section is a count and its records. Each record says its own size. A record whose header does not fit, whose magic is not its
  kind's, or whose size is less than its header or reaches beyond the section ends the walk: what comes before it counts, it and
  what comes after it does not.
- A record that is framed well, but has a field that is short, or an action or a type that is not accepted, is passed over. It applies to nothing; the walk goes
  on. One target that cannot be read makes its whole policy or group unreadable.
- Bytes between a record's last field and the end that its size says are ignored.
- A target's size is not where the next target begins: it has to fit in what is left of the record, and no more. The next target
  begins where the fields of this one end. Write the size right all the same; readers of another make may go by it.
- A count of an obfuscated text or of a SID may reach up to four bytes beyond the record. What is not there counts as
  stored zeros. Never write such a count.
- A text without its terminating NUL counts whole. Compare modes outside their tables and links to what is not there read well, and match nothing.
)";

constexpr const char* kSectionsText = R"(
## Sections

The index section, `Global\KxPoliciesIndexSection`, has the one name that never changes. It names the sections that hold the records. A name that
begins with a NUL: nothing is published there. A producer writes new sections under new names, then the index.
)";

constexpr const char* kDataSection = R"(
Each section that the index names. On disk, an image has the same bytes in `policies.sec`, `appgroups.sec` and `alerts.sec`.
)";

constexpr const char* kPoliciesText = R"(
## Policies

The order of the records is the order of precedence: the first policy that applies decides.
)";

constexpr const char* kActions = R"(
The common fields follow the header; then, for policies with targets, their targets; then the action's own fields.

### Actions
)";

constexpr const char* kTargets = R"(
## Targets

Elements of the lists of targets of policies and groups. A target is met when all of its properties that are set are met.
)";

constexpr const char* kPropertiesText = R"(
## Properties

Offsets count from the flag of the property, which is at 0.

| compare mode | | | bitmask mode | |
| --- | --- | --- | --- | --- |
| 1 | equals | | 1 | mask and value are the same |
| 2 | starts with | | 2 | every bit of the mask is set |
| 3 | contains | | 3 | some bit of the mask is set |
| 4 | wildcards `*` and `?` | | 4 | no bit of the mask is set |
| 5 | regular expression, the whole text | | | |

Any other mode matches nothing. White space around the value does not count; in the pattern it does.
)";

/// The columns that a field has in a table.
struct Shape {
  std::string size;
  std::string encoding;
};

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }

char Lower(char c) { return IsUpper(c) ? static_cast<char>(c + 0x20) : c; }

/// A link to the heading of a layout.
std::string LinkTo(const SkxLayout& layout) {
  std::string text = layout.name;
  std::string anchor = text;
  std::transform(anchor.begin(), anchor.end(), anchor.begin(), [](char c) { return c == ' ' ? '-' : Lower(c); });
  if (!IsUpper(text[1])) text[0] = Lower(text[0]);
  return "[" + text + "](#" + anchor + ")";
}

bool IsListOfProperties(const SkxLayout& layout) {
  return layout.fields.size() == 1 && layout.fields[0].kind == EkxField::List && *layout.fields[0].name == '\0';
}

const char* NumberName(EkxField kind) {
  switch (kind) {
    case EkxField::U8:
      return "u8";
    case EkxField::U16:
      return "u16";
    case EkxField::U32:
      return "u32";
    case EkxField::U64:
      return "u64";
    case EkxField::I64:
      return "i64";
    case EkxField::Flag:
      return "flag";
    case EkxField::Guid:
    case EkxField::GroupId:
    case EkxField::AlertId:
      return "GUID";
    case EkxField::AlertType:
      return "u16";
    case EkxField::TaskId:
      return "u32, of the catalogue";
    case EkxField::CompareAs:
      return "u16, compare mode";
    case EkxField::BitmaskCompareAs:
      return "u16, bitmask mode";
    case EkxField::Version:
      return "version";
    case EkxField::Unused:
      return "unused";
    case EkxField::NameSlot:
      return "UTF-16LE up to its NUL";
    default:
      return "";
  }
}

Shape ListShape(const SkxLayoutField& field) {
  const SkxLayoutField& element = field.nested->fields[0];
  if (element.kind == EkxField::Target) return {"4 or more", "list of [targets](#targets)"};
  if (element.kind == EkxField::Property) return {"4 or more", "list of properties: " + LinkTo(*field.nested)};
  size_t bytes = 0;
  for (const SkxLayoutField& part : field.nested->fields) bytes += KxField_FixedBytes(part);
  return {"4 + " + std::to_string(bytes) + " × n", "list of " + LinkTo(*field.nested) + "s"};
}

Shape ShapeOf(const SkxLayoutField& field) {
  switch (field.kind) {
    case EkxField::Text:
      return {"4 + n", "text"};
    case EkxField::ObfuscatedText:
      return {"4 + n", "obfuscated text"};
    case EkxField::NonEmptyText:
      return {"4 + n", "obfuscated text, not absent"};
    case EkxField::Data:
      return {"4 + n", "data"};
    case EkxField::Sid:
      return {"4 + n", "SID"};
    case EkxField::Property:
      if (!IsListOfProperties(*field.nested)) return {"1 or more", "property: " + LinkTo(*field.nested)};
      return {"1 or more", "property: list of " + LinkTo(*field.nested)};
    case EkxField::List:
      return ListShape(field);
    case EkxField::Rest:
      return {"the rest", "records"};
    default:
      return {std::to_string(KxField_FixedBytes(field)), NumberName(field.kind)};
  }
}

/// Rows of a table of fields, with offsets as far as they are the same in every record.
class FieldTable {
 public:
  explicit FieldTable(size_t offset) : _offset(offset) {}

  FieldTable& Row(const Shape& shape, const std::string& name, const std::string& meaning) {
    _rows += "| " + (_isFixed ? std::to_string(_offset) : std::string("then")) + " | " + shape.size + " | " + name +
             " | " + shape.encoding + " | " + meaning + " |\n";
    return *this;
  }

  FieldTable& Rows(const SkxLayout& layout) {
    for (const SkxLayoutField& field : layout.fields) {
      if (field.kind == EkxField::Part) {
        Rows(*field.nested);
        continue;
      }
      const std::string name = *field.name == '\0' ? "" : "`" + std::string(field.name) + "`";
      Row(ShapeOf(field), name, field.meaning);
      const size_t bytes = KxField_FixedBytes(field);
      _offset += bytes;
      _isFixed = _isFixed && bytes != 0;
    }
    return *this;
  }

  std::string Text() const {
    return "\n| Offset | Size | Field | Encoding | Meaning |\n| --- | --- | --- | --- | --- |\n" + _rows;
  }

 private:
  size_t _offset;
  bool _isFixed = true;
  std::string _rows;
};

std::string Fields(const SkxLayout& layout, size_t offset = 0) { return FieldTable(offset).Rows(layout).Text(); }

/// The own fields of an action: the last part of its body.
const SkxLayout& OwnFields(const SkxLayout& body) { return *body.fields.back().nested; }

bool HasTargets(const SkxLayout& body) {
  return std::any_of(body.fields.begin(), body.fields.end(), [](const SkxLayoutField& part) {
    return part.nested != nullptr && part.nested->fields.data() == kKxPolicyTargetsLayout.fields.data();
  });
}

std::string ActionTable() {
  std::string text = "\n| Action | Name | Targets | Own fields |\n| --- | --- | --- | --- |\n";
  for (uint32_t code = 0; code <= kKxPolicyLayout.bodies.back().code; ++code) {
    const SkxLayout* const body = kKxPolicyLayout.Body(code);
    text += "| " + std::to_string(code) + " | " +
            KxText_ToUtf8(KxUtil_PolicyActionStr(static_cast<EkxPolicyAction>(code))) + " | ";
    if (body == nullptr) {
      text += "not accepted | |\n";
    } else {
      const SkxLayout& own = OwnFields(*body);
      text +=
          std::string(HasTargets(*body) ? "yes" : "no") + " | " + (own.fields.empty() ? "none" : LinkTo(own)) + " |\n";
    }
  }
  return text + "\nAny other action is not accepted.\n";
}

/// A table for each own part, once.
std::string OwnParts() {
  std::string text;
  for (const SkxRecordBody& body : kKxPolicyLayout.bodies) {
    const SkxLayout& own = OwnFields(*body.layout);
    if (!own.fields.empty()) text += "\n### " + std::string(own.name) + "\n" + Fields(own);
  }
  return text;
}

constexpr uint32_t kLastTargetType = static_cast<uint32_t>(EkxPolicyTarget::MacExecutable);

std::string TargetTypeTable() {
  std::string text = "\n| Type | Name | Body |\n| --- | --- | --- |\n";
  for (uint32_t code = 0; code <= kLastTargetType; ++code) {
    const SkxLayout* const body = kKxTargetLayout.Body(code);
    text += "| " + std::to_string(code) + " | " +
            KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(static_cast<EkxPolicyTarget>(code))) + " | " +
            (body != nullptr ? LinkTo(*body) : "not accepted") + " |\n";
  }
  return text + "\nAny other type is not accepted.\n";
}

std::string TargetBodies() {
  std::string text;
  for (const SkxRecordBody& body : kKxTargetLayout.bodies) {
    text += "\n### " + std::string(body.layout->name) + "\n" + Fields(*body.layout, kKxTargetLayout.headerBytes);
  }
  return text;
}

std::string PropertyTables() {
  std::string text;
  for (const SkxLayout* const layout : KxRecordLayout_Properties()) {
    text += "\n### " + std::string(layout->name) + "\n" + Fields(*layout, 1);
  }
  return text;
}

std::string AlertText() {
  std::string text = "\n## Alerts\n" + Fields(*kKxAlertLayout.header);
  for (const SkxRecordBody& body : kKxAlertLayout.bodies) {
    text += "\n### " + std::string(body.layout->name) + "\n\nType " + std::to_string(body.code) + ". ";
    if (body.layout->fields.empty()) {
      text += "Nothing follows the header; what does is not looked at.\n";
    } else {
      text += "After the header:\n" + Fields(*body.layout, kKxAlertLayout.headerBytes);
    }
  }
  return text + "\nAny other type is not accepted.\n";
}

/// One line a field of a record.
class ExampleVisitor : public IkxRecordVisitor {
 public:
  void OnField(const SkxWalkedField& field) override {
    text += std::string(4 - std::min<size_t>(4, std::to_string(field.offset).size()), ' ') +
            std::to_string(field.offset) + "  " + Padded(Hex(field.bytes), kHexColumn) +
            (*field.field.name == '\0' ? "(unused)" : std::string(field.path));
    if (!field.text.IsEmpty()) text += "  \"" + KxText_ToUtf8(field.text) + "\"";
    text += '\n';
  }

  std::string text;

 private:
  static constexpr size_t kHexColumn = 50;
  static constexpr size_t kMaxShown = 16;

  static std::string Hex(std::span<const unsigned char> bytes) {
    std::string hex;
    for (const unsigned char byte : bytes.first(std::min(bytes.size(), kMaxShown))) {
      for (const int digit : {byte >> 4, byte & 15}) hex += "0123456789abcdef"[digit];
      hex += ' ';
    }
    return bytes.size() > kMaxShown ? hex + "… " : hex;
  }

  /// By what is seen: the ellipsis is one character, of three bytes.
  static std::string Padded(const std::string& text, size_t width) {
    const auto seen = static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
    return text + std::string(width > seen ? width - seen : 1, ' ');
  }
};

std::string Example() {
  SkxExeTarget program;
  program.fileName = SkxFileNameTest{KXW("sol*.exe"), 4, {}, {}, -1};
  SkxTargetModel target;
  target.id = GUID{0x0D9C1F3A, 0x4B5E, 0x4C77, {0x9A, 0x01, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}};
  target.body = program;
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Block;
  policy.id = 7;
  policy.order = 1;
  policy.name = KXW("No games");
  policy.targets = {target};

  ExampleVisitor visitor;
  SkxRecordFault unused;
  KxRecord_Walk(kKxPolicyLayout, KxEncode_Policy(policy), &visitor, unused);
  return "\n## A whole record\n\nPolicy 7, \"No games\", blocks every program whose name is like `sol*.exe`. Each "
         "line: the offset, the "
         "first bytes, the\nfield, and the text in clear. The bytes are those of the default seed.\n\n```\n" +
         visitor.text + "```\n";
}

}  // namespace

std::string KxRecordLayout_Markdown() {
  return std::string(kIntroduction) + kSectionsText + Fields(kKxIndexLayout) + kDataSection + Fields(kKxSectionLayout) +
         kPoliciesText + Fields(*kKxPolicyLayout.header) + kActions + ActionTable() + "\n### Common fields\n" +
         Fields(kKxPolicyCommonLayout, kKxPolicyLayout.headerBytes) + "\n### Targets of a policy\n" +
         Fields(kKxPolicyTargetsLayout) + "\n### Alert link\n" + Fields(kKxAlertLinkLayout) + OwnParts() +
         "\n## Application groups\n" +
         FieldTable(0).Rows(*kKxAppGroupLayout.header).Rows(*kKxAppGroupLayout.Body(0)).Text() + kTargets +
         Fields(*kKxTargetLayout.header) + TargetTypeTable() + TargetBodies() + kPropertiesText + PropertyTables() +
         AlertText() + Example();
}
