// Source records as XML: what source_fields.h lists, written into an element and read from it.
#pragma once

#include <cstring>

#include "Agent/engine/kx_util/origin/source_fields.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/xml/ti_xml_util.h"

/// The numbers of a chain: more are refused.
inline constexpr size_t kKxMaxSourceProcesses = CkxFileSrcInstaller::kMaxProcesses;

// Why a record is refused.
inline constexpr const char* kKxXmlNoDocument = "ERROR: Parse failed.";
inline constexpr const char* kKxXmlOtherElement = "ERROR: Cannot find the element of the record";
inline constexpr const char* kKxXmlTooMany = "ERROR: The record has too many processes";
inline constexpr const char* kKxXmlUnwritable = "ERROR: The record cannot be written as XML";

class CkxSourceXmlOut {
 public:
  struct Options {
    bool withFile = true;
    bool withSourceTypes = false;
  };

  CkxSourceXmlOut(tinyxml2::XMLElement& element, const Options& options) : _element(element), _options(options) {}

  /// False when what was written could not be read back.
  bool IsGood() const { return _isGood; }

  template <class Number_>
  void Number(const char* name, Number_ number) {
    if constexpr (std::is_enum_v<Number_>) {
      Xml::SetAttribute(_element, name, static_cast<uint32_t>(number));
    } else {
      Xml::SetAttribute(_element, name, number);
    }
  }
  void KnownNumber(const char* name, uint32_t number, uint32_t unknown) {
    if (number != unknown) Number(name, number);
  }
  void Place(const char* name, int32_t place) { Number(name, place); }
  void Flag(const char* name, bool flag) { Xml::SetFlag(_element, name, flag); }
  void Text(const char* name, CkxTextView text) { Xml::SetAttribute(_element, name, text); }
  void Child(const char* name, CkxTextView text) { Xml::AddChild(_element, name, text); }
  template <class Attributes>
  void Child(const char* name, CkxTextView text, Attributes attributes) {
    tinyxml2::XMLElement* const child = Xml::AddChild(_element, name, text);
    if (child == nullptr) return;
    CkxSourceXmlOut out(*child, _options);
    attributes(out);
  }
  void Constant(const char* name, CkxTextView text) { Text(name, text); }
  void Constant(const char* name, int32_t number) { Number(name, number); }
  void CopySource(const SkxFileSrcCopySource& source);
  void CopySourceAlone(const SkxFileSrcCopySource& source) { CopySource(source); }
  void Hash(CkxTextView hash);
  void Sid(const char* name, const std::optional<CkxSid>& sid) {
    if (sid) Text(name, sid->ToText());
  }
  void Sids(const char* name, const char* /*all*/, const std::vector<CkxSid>& sids) {
    for (const CkxSid& sid : sids) Child(name, sid.ToText());
  }
  void SourceTypes(const char* name, const CkxFileSrcProcess& process);
  void Fresh(const char* /*name*/, bool /*flag*/) {}
  void File(const SkxFileSrcFile& file) {
    if (!_options.withFile) return;
    if (file.smScrRep != 0) Number("smScrRep", file.smScrRep);
    Record("File", file);
  }

  template <class Record_>
  void Record(const char* name, const Record_& record, bool isThere = true) {
    if (!isThere) return;
    CkxSourceXmlOut out(Xml::AddChild(_element, name), _options);
    KxSourceFields(out, record);
    _isGood = _isGood && out._isGood;
  }
  template <class Record_>
  void Record(const char* name, const std::optional<Record_>& record) {
    if (record) Record(name, *record);
  }
  void Record(const char* name, const char* /*all*/, const std::vector<CkxFileSrcProcess>& processes) {
    for (const CkxFileSrcProcess& process : processes) Record(name, process);
    _isGood = _isGood && processes.size() <= kKxMaxSourceProcesses;
  }

 private:
  using Xml = CkxTiXmlUtil;

  tinyxml2::XMLElement& _element;
  const Options _options;
  bool _isGood = true;
};

class CkxSourceXmlIn {
 public:
  explicit CkxSourceXmlIn(const tinyxml2::XMLElement& element) : _element(element) {}

  bool IsGood() const { return _isGood; }

  template <class Number_>
  void Number(const char* name, Number_& number) {
    if constexpr (std::is_enum_v<Number_>) {
      auto read = static_cast<uint32_t>(number);
      if (Xml::GetAttribute(_element, name, read)) number = static_cast<Number_>(read);
    } else {
      Xml::GetAttribute(_element, name, number);
    }
  }
  void KnownNumber(const char* name, uint32_t& number, uint32_t /*unknown*/) { Number(name, number); }
  void Place(const char* name, int32_t& place) {
    place = CkxFileSrcParentInstaller::kUnknownOrder;
    Number(name, place);
  }
  void Flag(const char* name, bool& flag) { Xml::GetFlag(_element, name, flag); }
  void Text(const char* name, KxWString& text) { Xml::GetAttribute(_element, name, text); }
  void Child(const char* name, KxWString& text) {
    Child(name, text, [](CkxSourceXmlIn& /*attributes*/) {});
  }
  template <class Attributes>
  void Child(const char* name, KxWString& text, Attributes attributes) {
    const tinyxml2::XMLElement* const child = Xml::Child(_element, name);
    if (child == nullptr) return;
    text = Xml::Text(*child);
    CkxSourceXmlIn in(*child);
    attributes(in);
  }
  template <class Value>
  void Constant(const char* /*name*/, const Value& /*value*/) {}
  void CopySource(SkxFileSrcCopySource& source);
  void CopySourceAlone(SkxFileSrcCopySource& source) { CopySource(source); }
  void Hash(KxWString& hash);
  void Sid(const char* name, std::optional<CkxSid>& sid);
  void Sids(const char* name, const char* all, std::vector<CkxSid>& sids);
  void SourceTypes(const char* /*name*/, const CkxFileSrcProcess& /*process*/) {}
  void Fresh(const char* /*name*/, bool& /*flag*/) {}

  /// What stands beside the file counts more than what stands with it.
  void File(SkxFileSrcFile& file) {
    Record("File", file);
    Number("smScrRep", file.smScrRep);
  }

  template <class Record_>
  void Record(const char* name, Record_& record, bool isThere = true) {
    if (const tinyxml2::XMLElement* const child = isThere ? Xml::Child(_element, name) : nullptr) Read(*child, record);
  }
  template <class Record_>
  void Record(const char* name, std::optional<Record_>& record) {
    if (const tinyxml2::XMLElement* const child = Xml::Child(_element, name)) Read(*child, record.emplace());
  }
  void Record(const char* name, std::optional<CkxFileSrcPackage>& package) {
    if (const tinyxml2::XMLElement* const child = Xml::Child(_element, name)) {
      package = CkxFileSrcPackage::CreateFromXml(*child);
    }
  }
  void Record(const char* name, const char* all, std::vector<CkxFileSrcProcess>& processes);

 private:
  using Xml = CkxTiXmlUtil;

  template <class Record_>
  void Read(const tinyxml2::XMLElement& element, Record_& record) {
    CkxSourceXmlIn in(element);
    KxSourceFields(in, record);
    _isGood = _isGood && in._isGood;
  }

  const tinyxml2::XMLElement& _element;
  bool _isGood = true;
};

/// Adds `record` as the element `name`. False when what was written could not be read back.
template <class Record>
bool KxSourceXml_Write(tinyxml2::XMLElement& parent, const char* name, const Record& record,
                       const CkxSourceXmlOut::Options& options = {}) {
  CkxSourceXmlOut out(CkxTiXmlUtil::AddChild(parent, name), options);
  KxSourceFields(out, record);
  return out.IsGood();
}

/// Replaces `record` by what the element holds; false, with nothing changed, when that goes beyond a limit.
template <class Record>
bool KxSourceXml_Read(const tinyxml2::XMLElement& element, Record& record) {
  Record read;
  CkxSourceXmlIn in(element);
  KxSourceFields(in, read);
  const bool isRead = in.IsGood() && KxFault_Current() == EkxEvaluationFault::None;
  if (isRead) record = std::move(read);
  return isRead;
}

/// A document of the record alone; nothing for what XML cannot hold, or could not be read back.
template <class Record>
std::optional<CkxTiXmlDocument> KxSourceXml_Document(const char* name, const Record& record,
                                                     const CkxSourceXmlOut::Options& options = {}) {
  CkxTiXmlDocument document(name);
  CkxSourceXmlOut out(document.Root(), options);
  KxSourceFields(out, record);
  return out.IsGood() ? std::optional(std::move(document)) : std::nullopt;
}

/// Nothing as above, or when it is larger than what can be kept.
template <class Record>
std::optional<std::string> KxSourceXml_Text(const char* name, const Record& record,
                                            const CkxSourceXmlOut::Options& options = {}) {
  const std::optional<CkxTiXmlDocument> document = KxSourceXml_Document(name, record, options);
  return document ? document->Print() : std::nullopt;
}

/// Why `text` is no document of that element; null when `record` is what it holds.
template <class Record>
const char* KxSourceXml_FromText(std::string_view text, const char* name, Record& record) {
  const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(text);
  if (!document) return kKxXmlNoDocument;
  if (!document->IsRoot(name)) return kKxXmlOtherElement;
  return KxSourceXml_Read(document->Root(), record) ? nullptr : kKxXmlTooMany;
}
