#include "bench/real_policies.h"

#include <kx_util/kx_util.h>
#include <tinyxml2.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "Common_CPP/util/text.h"
#include "bench/bench_policies.h"

namespace {

using tinyxml2::XMLElement;

/// UTF-16 with a byte-order mark, or UTF-8 with or without one, which the parser knows.
std::string ReadRuleText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  if (!bytes.starts_with("\xFF\xFE")) return bytes;
  KxWString units((bytes.size() - 2) / sizeof(WCHAR), WCHAR{0});
  std::memcpy(units.data(), bytes.data() + 2, units.size() * sizeof(WCHAR));
  return KxText_ToUtf8(units);
}

std::string AttributeOf(const XMLElement& element, const char* name) {
  const char* const value = element.Attribute(name);
  return value != nullptr ? value : "";
}

KxWString RuleText(const std::string& text) { return KxText_FromUtf8(text).value_or(KxWString()); }

uint16_t CompareAs(const std::string& pattern) {
  return static_cast<uint16_t>(pattern.find('*') != std::string::npos ? EkxStrCompareAs::StrWildcard
                                                                      : EkxStrCompareAs::StrEquals);
}

void DemandName(SkxExeTarget& exe, const std::string& name) {
  if (!exe.fileName) exe.fileName.emplace();
  exe.fileName->pattern = RuleText(name);
  exe.fileName->compareAs = CompareAs(name);
}

void DemandHash(SkxExeTarget& exe, std::string hex) {
  if (hex.starts_with("0x")) hex.erase(0, 2);
  if (!exe.fileName) DemandName(exe, "*");
  exe.fileName->hashAlgorithm = hex.size() == 40 ? KXW("SHA1") : KXW("SHA256");
  exe.fileName->hash = exe.fileName->hashAlgorithm + KXW("##") + RuleText(hex);
}

void DemandPath(SkxExeTarget& exe, std::string path) {
  static const std::map<std::string, std::string> kVariables = {{"%OSDRIVE%", "C:"},
                                                                {"%WINDIR%", "C:\\Windows"},
                                                                {"%SYSTEM32%", "C:\\Windows\\System32"},
                                                                {"%PROGRAMFILES%", "C:\\Program Files*"},
                                                                {"%HOT%", "?:"},
                                                                {"%REMOVABLE%", "?:"}};
  for (const auto& [name, value] : kVariables) {
    if (path.starts_with(name)) path.replace(0, name.size(), value);
  }
  const size_t end = path.rfind('\\');
  const std::string name = path.substr(end == std::string::npos ? 0 : end + 1);
  if (end != std::string::npos && path.substr(0, end) != "*") {
    const std::string folder = path.substr(0, end);
    exe.location = SkxLocationTest{RuleText(folder.find('*') == std::string::npos ? folder : folder + "\\*"), true, {}};
  }
  if (name != "*" && !name.empty()) DemandName(exe, name);
}

/// "O=MAKER, L=PLACE, C=US": the maker.
void DemandSigner(SkxExeTarget& exe, std::string signer) {
  if (signer.starts_with("O="))
    signer = signer.substr(2, signer.find(", L=") == std::string::npos ? std::string::npos : signer.find(", L=") - 2);
  if (signer.empty() || signer == "*") return;
  SkxPublisherTest publisher;
  publisher.pattern = RuleText(signer);
  exe.publishers = KxElements<SkxPublisherTest>{publisher};
}

void DemandProduct(SkxExeTarget& exe, const std::string& product) {
  if (product.empty() || product == "*") return;
  SkxVersionFieldTest field;
  field.name = KXW("ProductName");
  field.pattern = RuleText(product);
  exe.versionFields = KxElements<SkxVersionFieldTest>{field};
}

/// What one element demands; nothing when it demands nothing, or is no condition.
SkxExeTarget Demanded(const XMLElement& element) {
  SkxExeTarget exe;
  const std::string kind = element.Name();
  if (kind == "FilePathCondition") DemandPath(exe, AttributeOf(element, "Path"));
  if (kind == "FileHash") DemandHash(exe, AttributeOf(element, "Data"));
  if (kind == "FilePublisherCondition") {
    DemandSigner(exe, AttributeOf(element, "PublisherName"));
    DemandProduct(exe, AttributeOf(element, "ProductName"));
    const std::string name = AttributeOf(element, "BinaryName");
    if (!name.empty() && name != "*") DemandName(exe, name);
  }
  if (kind == "CertPublisher") DemandSigner(exe, AttributeOf(element, "Value"));
  if (kind == "Deny" || kind == "Allow" || kind == "FileAttrib") {
    const std::string name = AttributeOf(element, "FileName");
    if (!name.empty() && name != "*") DemandName(exe, name);
    if (element.Attribute("FilePath") != nullptr) DemandPath(exe, AttributeOf(element, "FilePath"));
    if (element.Attribute("Hash") != nullptr) DemandHash(exe, AttributeOf(element, "Hash"));
    DemandProduct(exe, AttributeOf(element, "ProductName"));
  }
  return exe;
}

void AddRules(const XMLElement* element, SkxPublication& publication) {
  for (; element != nullptr; element = element->NextSiblingElement()) {
    SkxExeTarget exe = Demanded(*element);
    if (exe.fileName || exe.location || exe.publishers || exe.versionFields) {
      const auto id = static_cast<uint32_t>(publication.policies.size() + 1);
      SkxTargetModel target;
      target.id.Data1 = id;
      target.body = std::move(exe);
      publication.policies.push_back(BenchPolicies::Policy(id, {target}));
    }
    AddRules(element->FirstChildElement(), publication);
  }
}

}  // namespace

SkxPublication KxBench_RealPolicies(const std::string& folder) {
  SkxPublication publication;
  std::error_code ignored;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    if (entry.path().extension() == ".xml") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path& file : files) {
    tinyxml2::XMLDocument document;
    const std::string text = ReadRuleText(file);
    if (document.Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS)
      AddRules(document.RootElement(), publication);
  }
  return publication;
}
