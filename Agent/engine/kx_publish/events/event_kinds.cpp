#include "Agent/engine/kx_publish/events/event_kinds.h"

#include <string_view>

namespace {

using Meaning = EkxEventMeaning;

constexpr SkxEventField kSystemMonitor[] = {
    {"/id", Meaning::Id, {"ProcessGuid", "process.entity_id"}},
    {"/path", Meaning::Text, {"Image", "process.executable"}},
    {"/pid", Meaning::Number, {"ProcessId", "process.pid"}},
    {"/commandLine", Meaning::Text, {"CommandLine", "process.command_line"}},
    {"/hashes", Meaning::Hashes, {"Hashes", "Hash"}},
    {"/hashes/MD5", Meaning::Hash, {"process.hash.md5"}},
    {"/hashes/SHA1", Meaning::Hash, {"process.hash.sha1"}},
    {"/hashes/SHA256", Meaning::Hash, {"process.hash.sha256"}},
    {"/signers/0/name", Meaning::Text, {"Signature", "process.code_signature.subject_name"}},
    {"/signers/0/status", Meaning::Status, {"SignatureStatus", "process.code_signature.status"}},
    {"/fileVersion", Meaning::Version, {"FileVersion", "process.pe.file_version"}},
    {"/versionInfo/CompanyName", Meaning::Text, {"Company", "process.pe.company"}},
    {"/versionInfo/ProductName", Meaning::Text, {"Product", "process.pe.product"}},
    {"/versionInfo/FileDescription", Meaning::Text, {"Description", "process.pe.description"}},
    {"/versionInfo/FileVersion", Meaning::Text, {"FileVersion", "process.pe.file_version"}},
    {"/versionInfo/OriginalFilename", Meaning::Text, {"OriginalFileName", "process.pe.original_file_name"}},
    {"/parent/path", Meaning::Text, {"ParentImage", "process.parent.executable"}},
    {"/parent/pid", Meaning::Number, {"ParentProcessId", "process.parent.pid"}},
    {"/parent/commandLine", Meaning::Text, {"ParentCommandLine", "process.parent.command_line"}},
};

constexpr SkxEventField kSecurityLog[] = {
    {"/id",
     Meaning::Id,
     {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/path", Meaning::Text, {"NewProcessName", "process.executable"}},
    {"/pid", Meaning::Number, {"NewProcessId", "process.pid"}},
    {"/commandLine", Meaning::Text, {"CommandLine", "process.command_line"}},
    {"/parent/path", Meaning::Text, {"ParentProcessName", "process.parent.executable"}},
    {"/parent/pid", Meaning::Number, {"ProcessId", "process.parent.pid"}},
};

constexpr SkxEventField kAppLocker[] = {
    {"/id",
     Meaning::Id,
     {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/kind", Meaning::Collection, {"PolicyName"}},
    {"/path", Meaning::Text, {"FullFilePath", "FilePath"}},
    {"/pid", Meaning::Number, {"TargetProcessId"}},
    {"/hashes/AUTHENTICODE-SHA256", Meaning::CoveredHash, {"FileHash"}},
};

constexpr SkxEventField kCodeIntegrity[] = {
    {"/id",
     Meaning::Id,
     {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/path", Meaning::Text, {"File Name", "FileName", "File_Name", "FileNameBuffer"}},
    {"/hashes/SHA1", Meaning::Hash, {"SHA1 Flat Hash", "SHA1FlatHash", "SHA1_Flat_Hash"}},
    {"/hashes/SHA256", Meaning::Hash, {"SHA256 Flat Hash", "SHA256FlatHash", "SHA256_Flat_Hash"}},
    {"/hashes/AUTHENTICODE-SHA1", Meaning::Hash, {"SHA1 Hash", "SHA1Hash", "SHA1_Hash"}},
    {"/hashes/AUTHENTICODE-SHA256", Meaning::Hash, {"SHA256 Hash", "SHA256Hash", "SHA256_Hash"}},
    {"/fileVersion", Meaning::Version, {"FileVersion"}},
    {"/versionInfo/ProductName", Meaning::Text, {"ProductName"}},
    {"/versionInfo/FileDescription", Meaning::Text, {"FileDescription"}},
    {"/versionInfo/FileVersion", Meaning::Text, {"FileVersion"}},
    {"/versionInfo/InternalName", Meaning::Text, {"InternalName"}},
    {"/versionInfo/OriginalFilename", Meaning::Text, {"OriginalFileName"}},
    {"/parent/path", Meaning::Text, {"Process Name", "ProcessName", "Process_Name", "ProcessNameBuffer"}},
};

constexpr SkxEventField kQueryRow[] = {
    {"/path", Meaning::Text, {"path"}},
    {"/pid", Meaning::Number, {"pid"}},
    {"/commandLine", Meaning::Text, {"cmdline"}},
    {"/hashes/MD5", Meaning::Hash, {"md5"}},
    {"/hashes/SHA1", Meaning::Hash, {"sha1"}},
    {"/hashes/SHA256", Meaning::Hash, {"sha256"}},
    {"/signers/0/name", Meaning::Text, {"subject_name"}},
    {"/signers/0/status", Meaning::Status, {"result"}},
    {"/fileVersion", Meaning::Version, {"file_version"}},
    {"/versionInfo/FileVersion", Meaning::Text, {"file_version"}},
    {"/versionInfo/ProductVersion", Meaning::Text, {"product_version"}},
    {"/versionInfo/OriginalFilename", Meaning::Text, {"original_filename"}},
    {"/parent/path", Meaning::Text, {"parent_path"}},
    {"/parent/pid", Meaning::Number, {"parent", "ppid"}},
    {"/parent/commandLine", Meaning::Text, {"parent_cmdline"}},
};

constexpr SkxEventField kPlain[] = {
    {"/id", Meaning::Id, {"id"}},
    {"/path", Meaning::Text, {"image"}},
    {"/pid", Meaning::Number, {"pid"}},
    {"/commandLine", Meaning::Text, {"commandLine"}},
    {"/hashes", Meaning::Hashes, {"hashes"}},
    {"/signers/0/name", Meaning::Text, {"signer"}},
    {"/signers/0/status", Meaning::Status, {"signatureStatus"}},
    {"/fileVersion", Meaning::Version, {"fileVersion"}},
    {"/versionInfo/CompanyName", Meaning::Text, {"company"}},
    {"/versionInfo/ProductName", Meaning::Text, {"product"}},
    {"/versionInfo/FileDescription", Meaning::Text, {"description"}},
    {"/versionInfo/FileVersion", Meaning::Text, {"fileVersion"}},
    {"/versionInfo/OriginalFilename", Meaning::Text, {"originalFileName"}},
    {"/parent/path", Meaning::Text, {"parentImage"}},
    {"/parent/pid", Meaning::Number, {"parentPid"}},
    {"/parent/commandLine", Meaning::Text, {"parentCommandLine"}},
};

constexpr SkxEventKind kKinds[] = {
    {.name = "sysmon",
     .meaning = "event 1, process creation",
     .source = "Sysmon",
     .numbers = {1},
     .conditions = {},
     .user = {},
     .fields = kSystemMonitor},
    {.name = "security",
     .meaning = "event 4688, a new process, of the log Security",
     .source = "Security",
     .numbers = {4688},
     .conditions = {},
     .user = {.sid = {"TargetUserSid"},
              .names = {"TargetUserName", "TargetDomainName"},
              .starterNames = {"SubjectUserName", "SubjectDomainName"},
              .starterSid = {"SubjectUserSid"},
              .label = {"MandatoryLabel"},
              .elevation = {"TokenElevationType"}},
     .fields = kSecurityLog},
    {.name = "applocker",
     .meaning = "events 8002 to 8007: programs, libraries, packages and scripts, allowed or not",
     .source = "AppLocker",
     .numbers = {8002, 8003, 8004, 8005, 8006, 8007},
     .conditions = {},
     .user = {.sid = {"TargetUser"}, .names = {}, .starterNames = {}, .starterSid = {}, .label = {}, .elevation = {}},
     .fields = kAppLocker},
    {.name = "codeintegrity",
     .meaning = "events 3076 and 3077: code that a policy blocks, or would",
     .source = "CodeIntegrity",
     .numbers = {3076, 3077},
     .goesByExtension = true,
     .conditions = {},
     .user = {},
     .fields = kCodeIntegrity},
    {.name = "osquery",
     .meaning = "rows of the tables of processes and their starts, in logged results",
     .source = nullptr,
     .numbers = {},
     .isTable = true,
     .conditions = {{{"type", "ProcessStart"}, {"event_type", "exec"}, {"syscall", "exec"}}},
     .user = {},
     .fields = kQueryRow},
    {.name = "plain",
     .meaning = "objects with image, commandLine, parentImage and the like",
     .source = nullptr,
     .numbers = {},
     .conditions = {{{"event", "sysmon1"}, {"event", "security4688"}}},
     .user = {.sid = {"userSid"},
              .names = {"user"},
              .starterNames = {"subjectUser"},
              .starterSid = {"subjectSid"},
              .label = {"mandatoryLabel"},
              .elevation = {"tokenElevation"}},
     .fields = kPlain},
};

}  // namespace

std::span<const SkxEventKind> KxEventKinds() { return kKinds; }

const SkxEventKind* KxEventKind_Named(const char* name) {
  for (const SkxEventKind& kind : kKinds) {
    if (std::string_view(kind.name) == name) return &kind;
  }
  return nullptr;
}
