#include "tools/kxpolicy/origin_text.h"

#include <chrono>
#include <cstdio>
#include <ostream>

#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

/// One line of what is known; nothing for what is not.
class PersonsView {
 public:
  explicit PersonsView(std::ostream& out) : _out(out) {}

  void Line(const char* label, const std::string& text) {
    if (text.empty()) return;
    char padded[32];
    std::snprintf(padded, sizeof(padded), "  %-15s ", label);
    _out << padded << KxText_Printable(text) << '\n';
  }
  void Line(const char* label, CkxTextView text) { Line(label, KxText_ToUtf8(text)); }

 private:
  std::ostream& _out;
};

/// "2022-06-17 18:40:00 UTC"; empty for 0, and for what is no time of a person's calendar.
std::string TimeForPeople(uint64_t fileTime) {
  constexpr uint64_t kYear9999 = 2650467744000000000;
  if (fileTime == 0 || fileTime >= kYear9999) return "";
  const int64_t seconds = (static_cast<int64_t>(fileTime) - KxFileTime_FromUnix(0, 0)) / 10000000;
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[80];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

/// "Google Chrome (C:\...\chrome.exe)"
std::string ProgramForPeople(const CkxFileSrcProcess& process) {
  const std::string name = KxText_ToUtf8(process.GetDisplayName());
  const std::string path = KxText_ToUtf8(process.MainPath());
  return path.empty() || path == name ? name : name + " (" + path + ")";
}

void AddPackage(PersonsView& view, const CkxFileSrcPackage& package) {
  const SkxFileSrcPackageFacts& facts = package.Facts();
  if (facts.type == EkxFileSrcPackageType::Email) {
    view.Line("in an e-mail of", facts.senderAddress);
    return view.Line("about", facts.subject);
  }
  const std::string version = facts.productVersion.empty() ? "" : " " + KxText_ToUtf8(facts.productVersion);
  view.Line("in the package", KxText_ToUtf8(facts.productName) + version);
  view.Line("of", facts.publisher);
}

void AddInstaller(PersonsView& view, const CkxFileSrcInstaller& installer, const char* label) {
  for (const CkxFileSrcProcess& process : installer.Processes()) {
    view.Line(label, ProgramForPeople(process));
    label = "started by";
  }
  view.Line("on", TimeForPeople(installer.InstallTime()));
  view.Line("copied from", installer.CopySource().path);
  if (installer.Package()) AddPackage(view, *installer.Package());
}

void AddOrigin(PersonsView& view, const CkxFileOrigin& origin) {
  if (origin.Preexisted()) return view.Line("origin", std::string("it was there before origins were kept"));
  AddInstaller(view, origin.Installer(), "brought by");
  if (origin.User() != nullptr) view.Line("for", origin.User()->DisplayName());
  if (!origin.ParentInstaller().IsEmpty()) AddInstaller(view, origin.ParentInstaller(), "which came by");
  const char* const kind = CkxFileSrcType::ToStr(origin.GetMainSourceType());
  if (kind != nullptr) view.Line("kind", std::string(kind));
}

template <class Record>
void AddRefusal(PersonsView& view, const char* label, const SkxKeptPart<Record>& part) {
  if (part.kept == EkxKeptRecord::Refused) view.Line(label, "refused: " + part.error);
}

}  // namespace

void KxOriginText_Write(const SkxKeptParts& parts, std::ostream& out) {
  PersonsView view(out);
  out << KxText_Printable(parts.file) << '\n';
  if (parts.origin != nullptr) AddOrigin(view, *parts.origin);
  view.Line("downloaded from", parts.uri.record);
  view.Line("attached by", parts.email.record.senderAddress.View());
  view.Line("about", parts.email.record.subject.View());
  const bool isNothingKept = parts.agent.kept == EkxKeptRecord::Absent && parts.driver.kept == EkxKeptRecord::Absent &&
                             parts.uri.kept == EkxKeptRecord::Absent && parts.email.kept == EkxKeptRecord::Absent;
  if (isNothingKept) view.Line("origin", std::string("nothing is kept with it"));
  AddRefusal(view, "agent's record", parts.agent);
  AddRefusal(view, "driver's record", parts.driver);
  AddRefusal(view, "URI", parts.uri);
  AddRefusal(view, "e-mail", parts.email);
}
