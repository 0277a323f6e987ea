#include <kx_publish/target.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/program/live_target.h"
#include "Agent/engine/kx_publish/program/target_content.h"

CkxTarget::CkxTarget(std::unique_ptr<const Content> content) : _content(std::move(content)) {}
CkxTarget::CkxTarget(CkxTarget&&) noexcept = default;
CkxTarget& CkxTarget::operator=(CkxTarget&&) noexcept = default;
CkxTarget::~CkxTarget() = default;

std::optional<CkxTarget> CkxTarget::Parse(std::string_view document, SkxDocumentError& error, std::string_view user) {
  std::optional<CkxSid> sid;
  if (!user.empty()) {
    sid = CkxSid::FromUtf8(std::string(user));
    error = {"", "", "the user is no SID"};
    if (!sid) return std::nullopt;
  }
  try {
    auto content = std::make_unique<Content>();
    content->document = CkxTargetDocument::Parse(document, sid);
    content->idJson = content->document->IdJson();
    return CkxTarget(std::move(content));
  } catch (const CkxDocumentFault& fault) {
    error = {"", fault.Pointer(), fault.what()};
    return std::nullopt;
  }
}

std::optional<CkxTarget> CkxTarget::File(std::string_view path, SkxDocumentError& error, void* token) {
  auto content = std::make_unique<Content>();
  error = {};
  content->live = KxLiveTarget_File(path, token, error.message);
  if (content->live == nullptr) return std::nullopt;
  content->idJson = nlohmann::json(path).dump();  // it is UTF-8
  return CkxTarget(std::move(content));
}

std::optional<CkxTarget> CkxTarget::Process(uint32_t pid, SkxDocumentError& error, void* token) {
  auto content = std::make_unique<Content>();
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  error = {};
  content->live = KxLiveTarget_Process(pid, token, lookup, error.message);
  if (content->live == nullptr) return std::nullopt;
  content->idJson = std::to_string(pid);
  return CkxTarget(std::move(content));
}

const std::string& CkxTarget::IdJson() const { return _content->idJson; }
