#include "Agent/engine/kx_publish/import/import.h"

#include <map>
#include <set>

#include "Agent/engine/kx_publish/import/app_control.h"
#include "Agent/engine/kx_publish/import/import_document.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Status = EkxImportStatus;

constexpr size_t kMaxImportedRules = 50'000;

template <class Visit>
void ForEachRule(const SkxImportedPolicy& policy, Visit visit) {
  for (const SkxImportedSet& set : policy.sets) {
    for (const SkxImportedRule& rule : set.rules) visit(set, rule);
  }
}

std::string TitleOf(std::span<const SkxImportFile> files, const SkxImportMachine& machine) {
  std::string title = "Imported from";
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string& name = files[i].name;
    title += (i == 0 ? " " : ", ") + name.substr(name.find_last_of("/\\") + 1);
  }
  return title + "; for machines with their system on " + KxText_ToUtf8(machine.systemDrive);
}

bool ParseFiles(std::span<const SkxImportFile> files, std::vector<SkxImportXml>& parsed, std::string& fault) {
  std::set<std::string> names;
  for (const SkxImportFile& file : files) {
    const std::span bytes(reinterpret_cast<const unsigned char*>(file.bytes.data()), file.bytes.size());
    std::optional<SkxXmlNode> root = KxImportXml_Parse(bytes);
    if (!root) {
      fault = file.name + ": is no XML document, or one with declarations or beyond what is read";
      return false;
    }
    if (!names.insert(file.name).second) {
      fault = file.name + ": is given twice";
      return false;
    }
    parsed.push_back({file.name, std::move(*root)});
  }
  return true;
}

std::string CountsText(const SkxImportCounts& counts) {
  const size_t all = counts.All();
  const size_t expressed = counts.exact + counts.approximate;
  const size_t share = all == 0 ? 1000 : expressed * 1000 / all;
  return std::to_string(all) + (all == 1 ? " rule: " : " rules: ") + std::to_string(counts.exact) + " exactly, " +
         std::to_string(counts.approximate) + " approximately, " + std::to_string(counts.notExpressed) +
         " not expressed (" + std::to_string(share / 10) + "." + std::to_string(share % 10) + " % expressed)";
}

const char* StatusText(Status status) { return status == Status::NotExpressed ? "not expressed" : "approximately"; }

/// "file: approximately, 12 rules: reason", the worst first.
std::string ReasonLines(const SkxImportedPolicy& policy, const std::string& file) {
  std::map<std::pair<int, std::string>, size_t> rulesOf;
  ForEachRule(policy, [&](const SkxImportedSet&, const SkxImportedRule& rule) {
    if (rule.file != file) return;
    for (const std::string& reason : rule.reasons) ++rulesOf[{-static_cast<int>(rule.status), reason}];
  });
  std::string text;
  for (const auto& [key, count] : rulesOf) {
    text += "  " + std::string(StatusText(static_cast<Status>(-key.first))) + ", " + std::to_string(count) +
            (count == 1 ? " rule: " : " rules: ") + KxText_Printable(key.second) + '\n';
  }
  return text;
}

std::string RuleLines(const SkxImportedPolicy& policy, const std::string& file) {
  std::string text;
  ForEachRule(policy, [&](const SkxImportedSet& set, const SkxImportedRule& rule) {
    if (rule.file != file || rule.reasons.empty()) return;
    std::string reasons;
    for (const std::string& reason : rule.reasons) reasons += (reasons.empty() ? "" : "; ") + reason;
    text += "  " + KxText_Printable(set.name + ", " + (rule.isAllow ? "allow " : "deny ") + rule.id) + ' ' +
            KxText_PrintableQuoted(rule.name) + ": " + StatusText(rule.status) + ": " + KxText_Printable(reasons) +
            '\n';
  });
  return text;
}

/// In the order in which they were read.
std::vector<std::string> FilesOf(const SkxImportedPolicy& policy) {
  std::vector<std::string> files;
  std::set<std::string> known;
  const auto add = [&](const std::string& file) {
    if (known.insert(file).second) files.push_back(file);
  };
  ForEachRule(policy, [&](const SkxImportedSet&, const SkxImportedRule& rule) { add(rule.file); });
  for (const SkxImportNote& note : policy.notes) add(note.file);
  return files;
}

}  // namespace

bool KxImport(EkxImportKind kind, std::span<const SkxImportFile> files, const SkxImportOptions& options,
              SkxImportResult& result, std::string& fault) {
  std::vector<SkxImportXml> parsed;
  if (files.empty()) {
    fault = "no file is given";
    return false;
  }
  if (!ParseFiles(files, parsed, fault)) return false;
  SkxImportedPolicy policy;
  const auto read = kind == EkxImportKind::AppLocker ? KxAppLocker_Read : KxAppControl_Read;
  if (!read(parsed, options.machine, policy, fault)) return false;
  size_t rules = 0;
  ForEachRule(policy, [&](const SkxImportedSet&, const SkxImportedRule&) { ++rules; });
  if (rules > kMaxImportedRules) {
    fault = files.front().name + ": there are more than " + std::to_string(kMaxImportedRules) + " rules";
    return false;
  }
  try {
    SkxImportDocument document = KxImportDocument_Write(policy, options.firstId, TitleOf(files, options.machine));
    result = {std::move(policy), std::move(document.text), document.policies};
    return true;
  } catch (const CkxImportTooLarge& tooLarge) {
    fault = files.front().name + ": " + tooLarge.what();
    return false;
  }
}

SkxImportCounts KxImport_Count(const SkxImportedPolicy& policy, const std::string& file) {
  SkxImportCounts counts;
  ForEachRule(policy, [&](const SkxImportedSet&, const SkxImportedRule& rule) {
    if (rule.file != file) return;
    ++(rule.status == Status::Exact         ? counts.exact
       : rule.status == Status::Approximate ? counts.approximate
                                            : counts.notExpressed);
  });
  return counts;
}

std::string KxImport_Report(const SkxImportedPolicy& policy, bool isSummary) {
  std::string text;
  for (const std::string& file : FilesOf(policy)) {
    text += KxText_Printable(file) + ": " + CountsText(KxImport_Count(policy, file)) + '\n';
    for (const SkxImportNote& note : policy.notes) {
      if (note.file == file) text += "  note: " + KxText_Printable(note.text) + '\n';
    }
    text += isSummary ? ReasonLines(policy, file) : RuleLines(policy, file);
  }
  return text;
}
