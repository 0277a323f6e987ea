#include "tools/kxpolicy/policy_input.h"

#include <algorithm>
#include <filesystem>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_place.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

namespace {

bool IsFolder(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(std::filesystem::path(std::u8string(path.begin(), path.end())), ignored);
}

CkxPolicySet OpenImage(const std::string& path) {
  std::string error = path + ": is not UTF-8";
  const std::optional<KxWString> folder = KxText_FromUtf8(path);
  std::optional<CkxPolicySet> set = folder ? CkxPolicySet::FromFolder(*folder, error) : std::nullopt;
  if (!set) throw CkxToolFault(EkxExit::UnusableInput, error);
  return *std::move(set);
}

CkxPolicySet OpenDocuments(const std::vector<std::string>& paths, std::istream& standardInput) {
  const std::vector<SkxDocumentText> texts = KxPolicyInput_Texts(paths, standardInput);
  SkxDocumentError error;
  std::optional<CkxPolicySet> set = CkxPolicySet::FromDocuments(texts, error);
  if (!set) throw CkxToolFault(EkxExit::UnusableInput, KxPolicyInput_FaultLine(texts, error));
  return *std::move(set);
}

}  // namespace

bool KxPolicyInput_IsImage(const std::vector<std::string>& inputs) {
  const auto folder = std::find_if(inputs.begin(), inputs.end(), IsFolder);
  if (folder == inputs.end()) return false;
  if (inputs.size() == 1) return true;
  throw CkxToolFault(EkxExit::UnusableArguments,
                     *folder + ": is a folder; an image stands alone, and documents and cases are named one by one");
}

std::vector<SkxDocumentText> KxPolicyInput_Texts(const std::vector<std::string>& documents,
                                                 std::istream& standardInput) {
  KxInput_CheckStandardInput(documents);
  std::vector<SkxDocumentText> texts;
  for (const std::string& path : documents) {
    CkxInput input(path, standardInput);
    texts.push_back({input.Name(), input.ReadAll()});
  }
  return texts;
}

std::string KxPolicyInput_FaultLine(const std::vector<SkxDocumentText>& texts, const SkxDocumentError& fault) {
  const auto text = std::find_if(texts.begin(), texts.end(),
                                 [&](const SkxDocumentText& each) { return each.name == fault.document; });
  SkxDocumentError placed = fault;
  std::optional<SkxTextPlace> place;
  if (fault.pointer.empty()) {
    place = KxTextPlace_TakeFrom(placed.message);
  } else if (text != texts.end()) {
    place = CkxJsonPlaces(text->text).Of(fault.pointer);
  }
  if (place) placed.document += ":" + std::to_string(place->line) + ":" + std::to_string(place->column);
  return placed.Text();
}

SkxLineFault::SkxLineFault(const std::string& stream, size_t line, const CkxDocumentFault& fault)
    : place(stream + ":" + std::to_string(line)), what(fault.Line()) {
  if (const auto at = KxTextPlace_TakeFrom(what)) place += ":" + std::to_string(at->column);
}

CkxPolicySet KxPolicyInput_Open(const std::vector<std::string>& inputs, std::istream& standardInput) {
  return KxPolicyInput_IsImage(inputs) ? OpenImage(inputs.front()) : OpenDocuments(inputs, standardInput);
}

CkxAuthorNames KxPolicyInput_Names(const CkxPolicySet& set, std::ostream& err) {
  std::string fault;
  CkxAuthorNames names = set.Names(&fault);
  if (!fault.empty()) {
    err << "kxpolicy: " << KxText_Printable(set.PlaceOf("names.json") + ": " + fault) << "; ids stand for names\n";
  }
  return names;
}

void KxPolicyInput_TellFaults(const CkxPolicySet& set, const std::vector<std::string>& faults, std::ostream& err) {
  for (const std::string& fault : faults) {
    const size_t file = fault.find(": ");
    err << "kxpolicy: " << KxText_Printable(set.PlaceOf(fault.substr(0, file).c_str()) + fault.substr(file)) << '\n';
  }
}
