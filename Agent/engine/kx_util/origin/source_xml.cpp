#include "Agent/engine/kx_util/origin/source_xml.h"

namespace {

constexpr const WCHAR* kLocalShare = KXW("LOCALSHARE");
constexpr const WCHAR* kHashSeparator = KXW("##");

/// How the system's own account is shown to people; some have written it down so.
constexpr const WCHAR* kSystemAccount = KXW("NT AUTHORITY\\SYSTEM");
constexpr std::string_view kSystemSid = "S-1-5-18";

std::optional<CkxSid> SidOf(const KxWString& text) {
  return CkxSid::FromUtf8(KxText_Equals(text, kSystemAccount, false) ? std::string(kSystemSid) : KxText_ToUtf8(text));
}

}  // namespace

void CkxSourceXmlOut::CopySource(const SkxFileSrcCopySource& source) {
  Child("CopySrcPath", source.path, [&source](CkxSourceXmlOut& path) {
    path.Text("locationType", source.locationType);
    if (KxText_Equals(source.locationType, kLocalShare, true)) path.Text("localShareName", source.localShareName);
  });
}

void CkxSourceXmlOut::Hash(CkxTextView hash) {
  const size_t mark = KxText_Find(hash, kHashSeparator, true);
  if (mark == CkxTextView::npos) return;
  Text("hash", hash.Part(mark + 2));
  Text("hashAlgorithm", hash.Part(0, mark));
}

void CkxSourceXmlOut::SourceTypes(const char* name, const CkxFileSrcProcess& process) {
  if (!_options.withSourceTypes) return;
  CkxUtilStr types;
  Text(name, process.SourceTypes().ToStr(types).View());
}

void CkxSourceXmlIn::CopySource(SkxFileSrcCopySource& source) {
  Child("CopySrcPath", source.path, [&source](CkxSourceXmlIn& path) {
    path.Text("locationType", source.locationType);
    path.Text("localShareName", source.localShareName);
  });
}

void CkxSourceXmlIn::Hash(KxWString& hash) {
  KxWString digits, algorithm;
  Text("hash", digits);
  Text("hashAlgorithm", algorithm);
  if (!digits.empty() || !algorithm.empty()) hash = algorithm + kHashSeparator + digits;
}

void CkxSourceXmlIn::Sid(const char* name, std::optional<CkxSid>& sid) {
  KxWString text;
  Text(name, text);
  sid = SidOf(text);
}

void CkxSourceXmlIn::Sids(const char* name, const char* /*all*/, std::vector<CkxSid>& sids) {
  for (const tinyxml2::XMLElement* element = Xml::Child(_element, name); element != nullptr;
       element = Xml::Next(*element)) {
    if (const std::optional<CkxSid> sid = SidOf(Xml::Text(*element))) sids.push_back(*sid);
  }
}

void CkxSourceXmlIn::Record(const char* name, const char* /*all*/, std::vector<CkxFileSrcProcess>& processes) {
  for (const tinyxml2::XMLElement* element = Xml::Child(_element, name); element != nullptr && _isGood;
       element = Xml::Next(*element)) {
    _isGood = processes.size() < kKxMaxSourceProcesses;
    if (_isGood) Read(*element, processes.emplace_back());
  }
}
