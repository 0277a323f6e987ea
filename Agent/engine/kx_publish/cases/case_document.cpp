#include "Agent/engine/kx_publish/cases/case_document.h"

#include <kx_util/target_info.h>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::json;

constexpr const char* kCases = "cases";

const json& ListAt(const json& list, const std::string& pointer) {
  if (!list.is_array() || list.empty()) throw CkxDocumentFault(pointer, "must be an array with elements");
  return list;
}

CkxTargetDocument TargetAt(const json& target, const std::string& pointer) {
  try {
    return CkxTargetDocument::FromJson(target);
  } catch (const CkxDocumentFault& fault) {
    throw CkxDocumentFault(pointer + fault.Pointer(), fault.what());
  }
}

/// `base` with what differs. A fault is told where it was written: in the row, or in what the rows share.
CkxTargetDocument RowAt(const json& base, const std::string& basePointer, const json& row, const std::string& pointer) {
  if (!row.is_object()) throw CkxDocumentFault(pointer, "must be an object");
  json target = base;
  target.merge_patch(row);
  try {
    return CkxTargetDocument::FromJson(target);
  } catch (const CkxDocumentFault& fault) {
    const bool isOfRow = fault.Pointer().empty() || row.contains(json::json_pointer(fault.Pointer()));
    throw CkxDocumentFault((isOfRow ? pointer : basePointer) + fault.Pointer(), fault.what());
  }
}

void ReadTargets(CkxJsonObject& object, SkxCase& test) {
  const json& target = *object.Find("target");
  const std::string pointer = object.PointerTo("target");
  const json* const rows = object.Find("rows");
  if (rows == nullptr) {
    test.targets.push_back({TargetAt(target, pointer), pointer});
    return;
  }
  const std::string rowsPointer = object.PointerTo("rows");
  if (!target.is_object()) throw CkxDocumentFault(pointer, "must be an object");
  for (size_t i = 0; i < ListAt(*rows, rowsPointer).size(); ++i) {
    const std::string rowPointer = KxJson_Pointer(rowsPointer, i);
    test.targets.push_back({RowAt(target, pointer, (*rows)[i], rowPointer), rowPointer});
  }
}

void ReadEvents(CkxJsonObject& object, SkxCase& test) {
  SkxCaseEvents& events = test.events.emplace();
  events.file = object.Required<std::string>("events");
  if (events.file.empty()) throw CkxDocumentFault(object.PointerTo("events"), "must name a file");
  if (const json* const where = object.Find("where")) events.where = CkxTargetFilter(*where, object.PointerTo("where"));
  object.Optional("atLeast", events.atLeast);
}

void ReadExpectation(CkxJsonObject& object, const char* key, std::optional<SkxExpectation>& expectation) {
  if (const json* const found = object.Find(key)) expectation = KxExpectation_Read(*found, object.PointerTo(key));
}

SkxCase CaseAt(const json& value, const std::string& pointer) {
  CkxJsonObject object(value, pointer);
  SkxCase test;
  test.pointer = pointer;
  object.Optional("name", test.name);
  const bool isAboutTargets = object.Find("target") != nullptr;
  if (isAboutTargets == (object.Find("events") != nullptr)) {
    throw CkxDocumentFault(pointer, "must have \"target\" or \"events\", one of them");
  }
  isAboutTargets ? ReadTargets(object, test) : ReadEvents(object, test);
  ReadExpectation(object, "expect", test.expect);
  ReadExpectation(object, "expectNot", test.expectNot);
  if (!test.expect && !test.expectNot) throw CkxDocumentFault(pointer, "\"expect\" or \"expectNot\" is missing");
  object.Finish();
  return test;
}

}  // namespace

bool KxCaseDocument_IsOne(const json& value) { return value.is_object() && value.contains(kCases); }

std::vector<SkxCase> KxCaseDocument_Read(const json& value) {
  CkxJsonObject object(value, "");
  object.Find("$schema");
  const json* const list = object.Find(kCases);
  object.Finish();
  if (list == nullptr) throw CkxDocumentFault("", "\"cases\" is missing");
  const std::string pointer = object.PointerTo(kCases);
  std::vector<SkxCase> cases;
  for (size_t i = 0; i < ListAt(*list, pointer).size(); ++i) {
    cases.push_back(CaseAt((*list)[i], KxJson_Pointer(pointer, i)));
  }
  return cases;
}

std::string KxCaseTarget_Name(const CkxTargetDocument& target) {
  const json id = json::parse(target.IdJson());
  if (id.is_string()) return id.get<std::string>();
  const IkxPathProvider* const file = target.Target().QueryPathProvider();
  return id.is_null() && file != nullptr ? KxText_ToUtf8(file->GetPath()) : target.IdJson();
}
