#include "Agent/engine/kx_publish/witness/condition_facts.h"

#include <kx_util/admin_task.h>
#include <kx_util/file_src_type.h>
#include <kx_util/match_str.h>

#include <algorithm>

#include "Agent/engine/kx_publish/witness/accepted_texts.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/task/admin_task_catalogue.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const char* kSystemFolder = "C:\\Windows\\System32";
constexpr const char* kMaker = "C:\\w.exe";
constexpr const char* kOtherProgram = "C:\\Other\\program.exe";
constexpr const WCHAR* kOpticalDrive = KXW("CDROM:");
constexpr const WCHAR* kSomeDrive = KXW("C:");
constexpr const WCHAR* kSomeShare = KXW("\\\\server\\share");
constexpr const char* kDriveTypes[] = {"FIXED", "REMOVABLE", "CDROM", "REMOTE", "RAMDISK"};

std::string ToUtf8(CkxTextView text) { return KxText_ToUtf8(text); }

KxFacts Fact(const char* key, CkxTextView text) { return {{key, ToUtf8(text)}}; }

/// More than this nobody tries.
constexpr size_t kMaxCrossed = 256;

/// Each way of the one with each of the other.
KxWays Crossed(const KxWays& first, const KxWays& second) {
  KxWays crossed;
  for (const KxFacts& one : first) {
    for (const KxFacts& other : second) {
      if (crossed.size() == kMaxCrossed) return crossed;
      KxFacts both = one;
      KxFacts_Add(both, other);
      crossed.push_back(std::move(both));
    }
  }
  return crossed;
}

bool IsSeparator(WCHAR unit) { return unit == KXW('\\') || unit == KXW('/'); }

/// A name as the end of a path: no other name is read from it.
bool IsFileName(const KxWString& name) { return !name.empty() && std::none_of(name.begin(), name.end(), IsSeparator); }

std::string HexOf(const KxWString& hash) {
  const std::string text = ToUtf8(hash);
  const size_t mark = text.find("##");
  return mark == std::string::npos ? text : text.substr(mark + 2);
}

/// Folders that a pattern may mean, without a separator at the end.
KxTexts Folders(const SkxLocationTest& test) {
  KxTexts folders;
  const auto add = [&](KxWString folder) {
    while (!folder.empty() && IsSeparator(folder.back())) folder.pop_back();
    if (!folder.empty()) folders.push_back(std::move(folder));
  };
  KxWString pattern = test.pattern;
  if (KxText_StartsWith(pattern, kOpticalDrive, false)) pattern = KXW("D:") + pattern.substr(6);
  if (!KxWildcard_IsPattern(pattern)) {
    add(pattern);
    if (test.withSubfolders) add(pattern + KXW("\\x"));
    return folders;
  }
  for (const KxWString& filled : KxAccepted_Fillings(pattern)) {
    add(filled);
    add(kSomeDrive + filled);
    add(kSomeDrive + (KXW("\\") + filled));
    add(kSomeShare + filled);
  }
  std::stable_partition(folders.begin(), folders.end(), [](const KxWString& folder) {
    return folder.find(KXW("\\\\"), 1) == KxWString::npos;  // the plainer ones first
  });
  return folders;
}

/// Machines on which a path lies in a place of one of `types`.
KxWays Drives(const KxWString& folder, const SkxLocationTest& test) {
  const WCHAR letter = KxPath_DriveLetter(folder);
  if (letter == 0) return {KxFacts::object()};
  const std::string key(1, static_cast<char>(letter));
  if (KxText_StartsWith(test.pattern, kOpticalDrive, false)) return {{{"drives", {{key, "CDROM"}}}}};
  KxWays ways = {KxFacts::object()};
  if (test.types.empty()) return ways;
  for (const char* const type : kDriveTypes) ways.push_back({{"drives", {{key, type}}}});
  return ways;
}

/// The origin of a file that one process made, of which this is known.
KxFacts MadeBy(const KxFacts& known) {
  KxFacts process = {{"order", 0}, {"path", kMaker}};
  process.update(known);
  return {{"installer", {{"processes", KxFacts::array({process})}}}};
}

/// Origins that say little more than where the file came from.
KxWays SomeOrigins() {
  KxWays ways = {KxFacts::object(),
                 MadeBy(KxFacts::object()),
                 MadeBy({{"urlZone", 3}}),
                 MadeBy({{"softDistrName", "Deploy"}}),
                 MadeBy({{"devApp", true}}),
                 MadeBy({{"wellKnown", "chrome"}}),
                 MadeBy({{"wellKnown", "outlook"}})};
  for (const char* const place : {"REMOTE", "REMOVABLE", "CDROM", "LOCALSHARE"}) {
    ways.push_back(MadeBy({{"locationType", place}}));
    ways.push_back(MadeBy({{"copySrc", {{"path", "E:\\w.exe"}, {"locationType", place}}}}));
  }
  ways.push_back({{"installer", {{"package", {{"type", 4}, {"emailType", 1}, {"senderAddress", "a@b.c"}}}}}});
  ways.push_back({{"installer", {{"package", {{"type", 4}, {"emailType", 2}, {"senderAddress", "a@b.c"}}}}}});
  return ways;
}

/// Those of files that a source of this type gave. A type follows from what the process is, or from a place.
KxWays OriginsOfType(uint32_t type) {
  switch (static_cast<CkxFileSrcType::EkxType>(type)) {
    case CkxFileSrcType::EMail:
      return {MadeBy({{"wellKnown", "outlook"}})};
    case CkxFileSrcType::SoftwareDistributor:
      return {MadeBy({{"softDistrName", "Deploy"}})};
    case CkxFileSrcType::DevApp:
      return {MadeBy({{"devApp", true}})};
    default:
      break;
  }
  KxWays ways;
  for (const char* const place : {"INTERNET", "REMOTE", "REMOVABLE", "CDROM", "LOCALSHARE"}) {
    if (CkxFileSrcType::FromLocationType(KxText_FromUtf8(place)->c_str()) != type) continue;
    ways.push_back(MadeBy({{"locationType", place}}));
    ways.push_back(MadeBy({{"copySrc", {{"path", "E:\\w.exe"}, {"locationType", place}}}}));
  }
  return ways;
}

/// The process that an origin begins with.
KxFacts& Maker(KxFacts& origin) {
  KxFacts& processes = origin["installer"]["processes"];
  if (processes.empty()) processes = KxFacts::array({{{"order", 0}, {"path", kMaker}}});
  return processes[0];
}

KxWays PackagesOf(const SkxPackageTest& test) {
  KxWays ways = {{{"type", 3}, {"path", "C:\\w.msi"}}};
  if (!test.name.empty()) {
    SkxTextTest name;
    name.pattern = test.name;
    name.compareAs = 4;
    ways = Crossed(ways, KxFacts_Text(name, "productName"));
  }
  if (test.versions) ways = Crossed(ways, KxFacts_Version(*test.versions, "productVersion"));
  KxWays signers;
  for (const std::optional<SkxPublisherTest>& publisher : test.publishers) {
    if (!publisher) continue;
    if (publisher->unsignedOnly) signers.push_back(KxFacts::object());
    for (const KxWString& signer : KxAccepted_Texts(*publisher)) {
      signers.push_back({{"publisher", ToUtf8(signer)}, {"publisherStatus", 4}});
    }
  }
  return test.publishers.empty() ? ways : Crossed(ways, signers);
}

/// `ways` with `add(origin, fact)` of each of `facts`, each way with the plainest fact first: when there are too many,
/// no way is left out for the facts of another.
template <class Values, class Add>
KxWays With(const KxWays& ways, const Values& facts, Add add) {
  KxWays more;
  for (const auto& fact : facts) {
    for (const KxFacts& way : ways) {
      if (more.size() == kMaxCrossed) return more;
      add(more.emplace_back(way), fact);
    }
  }
  return more;
}

/// What is about who starts the file: the program that made it, and where that came from.
void AddCaller(const SkxOriginTest& test, KxFacts& facts) {
  constexpr uint8_t kMadeByCaller = 1;
  const bool isMaker = test.spawnerProcess && test.spawnerProcess->mode == kMadeByCaller;
  const bool isOfPackage = test.package && test.package->flag;
  if (!isMaker && !isOfPackage) return;
  facts["kind"] = "process";
  facts["parent"] = {{"kind", "process"}, {"path", isMaker ? kMaker : kOtherProgram}};
  if (isMaker) Maker(facts["origin"]).erase("wellKnown");
  if (isOfPackage) facts["parent"]["origin"] = facts["origin"];
}

/// A launch as a description that shows it; nothing for the forms that take a program's own command line to tell.
KxWays LaunchedBy(const SkxLaunch& launch) {
  const std::string name = ToUtf8(launch.name);
  const std::string file = std::string(kSystemFolder) + "\\" + name;
  const std::string detail = launch.detail != nullptr ? ToUtf8(launch.detail) : std::string();
  const auto process = [](const char* program, const std::string& arguments) -> KxFacts {
    const std::string path = std::string(kSystemFolder) + "\\" + program;
    return {{"kind", "process"}, {"path", path}, {"commandLine", "\"" + path + "\" " + arguments}};
  };
  switch (launch.form) {
    case EkxLaunchForm::Program:
      return {{{"kind", "file"}, {"path", file}}, process(name.c_str(), detail)};
    case EkxLaunchForm::Console:
      return {{{"kind", "file"}, {"path", file}}, process("mmc.exe", file)};
    case EkxLaunchForm::Panel:
      return {{{"kind", "file"}, {"path", file}}, process("control.exe", file + ",," + detail)};
    case EkxLaunchForm::PanelName:
      return {process("control.exe", "/name " + name)};
    case EkxLaunchForm::PanelWord:
      return {process("control.exe", name)};
    case EkxLaunchForm::ShellItem:
      return {{{"kind", "elevator"}, {"request", {{"kind", 2}, {"url", "shell:::" + name}}}}};
    case EkxLaunchForm::Library:
      return {process("rundll32.exe", name + (detail.empty() ? "" : " " + detail))};
    case EkxLaunchForm::Address:
      return {{{"kind", "elevator"}, {"request", {{"kind", 2}, {"url", name}}}}};
    case EkxLaunchForm::ComClass:
      return {{{"kind", "uaccom"}, {"classId", name}}};
    case EkxLaunchForm::None:
      break;
  }
  return {};
}

/// Takes the part `key` out of `facts`; empty when there is none.
std::string Taken(KxFacts& facts, const char* key) {
  const auto part = facts.find(key);
  if (part == facts.end()) return {};
  std::string text = part->get<std::string>();
  facts.erase(part);
  return text;
}

/// The file becomes what a process of `program` was started for.
void Carry(KxFacts& facts, const std::string& program) {
  constexpr const char* kOfTheTarget[] = {"kind", "commandLine", "parent", "services", "user", "drives"};
  KxFacts carrier = {{"path", program}};
  for (const char* const key : kOfTheTarget) {
    const auto member = facts.find(key);
    if (member == facts.end()) continue;
    carrier[key] = *member;
    facts.erase(member);
  }
  facts["kind"] = "file";
  carrier["linked"] = KxFacts::array({facts});
  facts = std::move(carrier);
}

}  // namespace

KxWays KxFacts_FileName(const SkxFileNameTest& test, const KxWString& usual) {
  SkxTextTest name;
  name.pattern = test.pattern;
  name.compareAs = test.compareAs;
  KxTexts names = KxAccepted_Texts(name);
  const auto compareAs = static_cast<EkxStrCompareAs>(test.compareAs);
  if (KxUtil_MatchStr(test.pattern, usual, false, compareAs)) names.insert(names.begin(), usual);
  KxWays ways;
  for (const KxWString& text : names) {
    if (!IsFileName(text)) continue;
    KxFacts& facts = ways.emplace_back(Fact("~name", text));
    if (test.hash.empty()) continue;
    facts["hashes"][ToUtf8(test.hashAlgorithm)] = HexOf(test.hash);
    if (test.fileSize >= 0) facts["size"] = test.fileSize;
  }
  return ways;
}

KxWays KxFacts_Location(const SkxLocationTest& test) {
  KxWays ways;
  for (const KxWString& folder : Folders(test)) {
    for (KxFacts& facts : Drives(folder, test)) {
      facts["~folder"] = ToUtf8(folder);
      ways.push_back(std::move(facts));
    }
  }
  return ways;
}

KxWays KxFacts_Text(const SkxTextTest& test, const char* key) {
  KxWays ways;
  for (const KxWString& text : KxAccepted_Texts(test)) ways.push_back(Fact(key, text));
  return ways;
}

KxWays KxFacts_NamedText(const SkxNamedTextTest& test, const char* object) {
  KxWays ways;
  for (const KxWString& text : KxAccepted_Texts(test))
    ways.push_back({{object, Fact(ToUtf8(test.name).c_str(), text)}});
  return ways;
}

KxWays KxFacts_Version(const SkxVersionBounds& bounds, const char* key) {
  KxWays ways;
  for (const KxWString& text : KxAccepted_Versions(bounds)) ways.push_back(Fact(key, text));
  return ways;
}

KxWays KxFacts_NamedVersion(const SkxVersionBounds& bounds, const char* object, const char* name) {
  KxWays ways;
  for (const KxWString& text : KxAccepted_Versions(bounds)) ways.push_back({{object, Fact(name, text)}});
  return ways;
}

KxWays KxFacts_Publishers(const KxElements<SkxPublisherTest>& publishers) {
  KxWays ways;
  for (const std::optional<SkxPublisherTest>& publisher : publishers) {
    if (!publisher) continue;  // is never met
    if (publisher->unsignedOnly) {
      ways.push_back(KxFacts::object());
      continue;
    }
    for (const KxWString& name : KxAccepted_Texts(*publisher)) {
      ways.push_back({{"signers", KxFacts::array({{{"name", ToUtf8(name)}, {"status", "valid"}}})}});
    }
  }
  return ways;
}

KxWays KxFacts_Owners(const KxElements<CkxSid>& owners) {
  KxWays ways;
  for (const std::optional<CkxSid>& owner : owners) {
    ways.push_back(owner ? KxFacts{{"owner", owner->ToUtf8()}} : KxFacts::object());
  }
  return ways;
}

KxWays KxFacts_Package(const SkxAppPackageTarget& target) {
  KxFacts capabilities = KxFacts::array();
  if (target.capabilities) {
    for (const std::optional<SkxCapabilityTest>& capability : *target.capabilities) {
      if (capability && capability->required) capabilities.push_back(ToUtf8(capability->name));
    }
  }
  KxWays packages = {{{"name", "App"}, {"capabilities", capabilities}}};
  if (target.packageName) packages = Crossed(packages, KxFacts_Text(*target.packageName, "name"));
  if (target.packageVersion) packages = Crossed(packages, KxFacts_Version(*target.packageVersion, "version"));
  KxWays ways;
  for (KxFacts& package : packages) ways.push_back({{"appPackage", std::move(package)}});
  return ways;
}

KxWays KxFacts_Origin(const SkxOriginTest& test) {
  KxWays origins;
  if (test.flag) {
    origins = {{{"preexisted", true}}};
  } else {
    origins = test.mainSourceType == 0 ? SomeOrigins() : OriginsOfType(test.mainSourceType);
    if (test.distributionService) {
      origins = With(origins, KxTexts{*test.distributionService},
                     [](KxFacts& origin, const KxWString& name) { Maker(origin)["softDistrName"] = ToUtf8(name); });
    }
    if (test.location) {
      origins = With(origins, KxFacts_Location(*test.location), [](KxFacts& origin, KxFacts facts) {
        const std::string path = Taken(facts, "~folder") + "\\w.exe";
        KxFacts& source = origin["installer"]["copySrc"];
        source["path"] = path;
        const auto drives = facts.find("drives");
        if (drives != facts.end()) source["locationType"] = *drives->begin();
      });
    }
    if (test.package) {
      origins = With(origins, PackagesOf(*test.package), [](KxFacts& origin, const KxFacts& package) {
        KxFacts& whole = origin["installer"]["package"];
        whole = package;
      });
    }
    if (test.sourceAddress) {
      origins = With(origins, KxAccepted_Texts(*test.sourceAddress), [](KxFacts& origin, const KxWString& address) {
        Maker(origin)["copySrc"] = {{"path", ToUtf8(address)}, {"locationType", "INTERNET"}};
      });
    }
    if (test.users) {
      origins = With(origins, *test.users, [](KxFacts& origin, const std::optional<CkxSid>& user) {
        if (user) Maker(origin)["user"] = {{"sid", user->ToUtf8()}};
      });
    }
  }
  KxWays ways;
  for (KxFacts& origin : origins) {
    KxFacts& facts = ways.emplace_back(KxFacts{{"origin", std::move(origin)}});
    if (!test.flag) AddCaller(test, facts);
  }
  return ways;
}

KxWays KxFacts_AdminTask(uint32_t task) {
  KxWays ways;
  for (const SkxAdminTaskEntry& entry : KxAdminTask_Catalogue()) {
    if (entry.id != task) continue;
    for (const SkxLaunch& launch : entry.Launches()) {
      for (KxFacts& facts : LaunchedBy(launch)) ways.push_back(std::move(facts));
    }
  }
  return ways;
}

KxWays KxFacts_UserScope(const KxWString& sddl) {
  const std::string text = ToUtf8(sddl);
  KxWays ways;
  for (size_t at = text.find("S-1-"); at != std::string::npos; at = text.find("S-1-", at + 1)) {
    const size_t end = text.find_first_not_of("S-0123456789", at);
    const std::optional<CkxSid> sid = CkxSid::FromUtf8(text.substr(at, end - at));
    if (sid) ways.push_back({{"user", {{"sid", sid->ToUtf8()}}}});
  }
  ways.push_back({{"user", {{"sid", "S-1-5-21-1-2-3-1001"}, {"groups", {"S-1-1-0", "S-1-5-11", "S-1-5-32-545"}}}}});
  ways.push_back({{"user", {{"sid", "S-1-5-18"}, {"groups", {"S-1-1-0", "S-1-5-32-544"}}, {"admin", true}}}});
  return ways;
}

void KxFacts_Add(KxFacts& facts, const KxFacts& more) { facts.update(more, true); }

KxFacts KxFacts_Document(KxFacts facts) {
  const std::string folder = Taken(facts, "~folder");
  const std::string name = Taken(facts, "~name");
  const std::string arguments = Taken(facts, "~arguments");
  const std::string carrier = Taken(facts, "~carrier");
  const char* const separator = folder.starts_with('/') ? "/" : "\\";
  if (!name.empty()) facts["path"] = (folder.empty() ? "C:" : folder) + separator + name;
  const std::string program = carrier.empty() ? facts.value("path", "") : carrier;
  if (!arguments.empty()) facts["commandLine"] = "\"" + program + "\" " + arguments;
  if (!carrier.empty()) Carry(facts, carrier);
  return facts;
}
