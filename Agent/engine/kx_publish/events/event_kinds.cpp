#include "Agent/engine/kx_publish/events/event_kinds.h"

#include <string_view>

namespace {

using enum EkxEventMeaning;

constexpr SkxEventField kSystemMonitor[] = {
    {"/id", Id, {"ProcessGuid", "process.entity_id"}},
    {"/path", Text, {"Image", "process.executable"}},
    {"/pid", Number, {"ProcessId", "process.pid"}},
    {"/commandLine", Text, {"CommandLine", "process.command_line"}},
    {"/hashes", Hashes, {"Hashes", "Hash"}},
    {"/hashes/MD5", Hash, {"process.hash.md5"}},
    {"/hashes/SHA1", Hash, {"process.hash.sha1"}},
    {"/hashes/SHA256", Hash, {"process.hash.sha256"}},
    {"/signers/0/name", Text, {"Signature", "process.code_signature.subject_name"}},
    {"/signers/0/status", Status, {"SignatureStatus", "process.code_signature.status"}},
    {"/fileVersion", Version, {"FileVersion", "process.pe.file_version"}},
    {"/versionInfo/CompanyName", Text, {"Company", "process.pe.company"}},
    {"/versionInfo/ProductName", Text, {"Product", "process.pe.product"}},
    {"/versionInfo/FileDescription", Text, {"Description", "process.pe.description"}},
    {"/versionInfo/FileVersion", Text, {"FileVersion", "process.pe.file_version"}},
    {"/versionInfo/OriginalFilename", Text, {"OriginalFileName", "process.pe.original_file_name"}},
    {"/parent/path", Text, {"ParentImage", "process.parent.executable"}},
    {"/parent/pid", Number, {"ParentProcessId", "process.parent.pid"}},
    {"/parent/commandLine", Text, {"ParentCommandLine", "process.parent.command_line"}},
};

constexpr SkxEventField kSecurityLog[] = {
    {"/id", Id, {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/path", Text, {"NewProcessName", "process.executable"}},
    {"/pid", Number, {"NewProcessId", "process.pid"}},
    {"/commandLine", Text, {"CommandLine", "process.command_line"}},
    {"/parent/path", Text, {"ParentProcessName", "process.parent.executable"}},
    {"/parent/pid", Number, {"ProcessId", "process.parent.pid"}},
};

constexpr SkxEventField kAppLocker[] = {
    {"/id", Id, {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/kind", Collection, {"PolicyName"}},
    {"/path", Text, {"FullFilePath", "FilePath"}},
    {"/pid", Number, {"TargetProcessId"}},
    {"/hashes/AUTHENTICODE-SHA256", CoveredHash, {"FileHash"}},
};

constexpr SkxEventField kCodeIntegrity[] = {
    {"/id", Id, {"winlog.record_id", "Event.System.EventRecordID", "EventRecordID", "RecordNumber", "EventRecordId"}},
    {"/path", Text, {"File Name", "FileName", "File_Name", "FileNameBuffer"}},
    {"/hashes/SHA1", Hash, {"SHA1 Flat Hash", "SHA1FlatHash", "SHA1_Flat_Hash"}},
    {"/hashes/SHA256", Hash, {"SHA256 Flat Hash", "SHA256FlatHash", "SHA256_Flat_Hash"}},
    {"/hashes/AUTHENTICODE-SHA1", Hash, {"SHA1 Hash", "SHA1Hash", "SHA1_Hash"}},
    {"/hashes/AUTHENTICODE-SHA256", Hash, {"SHA256 Hash", "SHA256Hash", "SHA256_Hash"}},
    {"/fileVersion", Version, {"FileVersion"}},
    {"/versionInfo/ProductName", Text, {"ProductName"}},
    {"/versionInfo/FileDescription", Text, {"FileDescription"}},
    {"/versionInfo/FileVersion", Text, {"FileVersion"}},
    {"/versionInfo/InternalName", Text, {"InternalName"}},
    {"/versionInfo/OriginalFilename", Text, {"OriginalFileName"}},
    {"/parent/path", Text, {"Process Name", "ProcessName", "Process_Name", "ProcessNameBuffer"}},
};

constexpr SkxEventField kQueryRow[] = {
    {"/path", Text, {"path"}},
    {"/pid", Number, {"pid"}},
    {"/commandLine", Text, {"cmdline"}},
    {"/hashes/MD5", Hash, {"md5"}},
    {"/hashes/SHA1", Hash, {"sha1"}},
    {"/hashes/SHA256", Hash, {"sha256"}},
    {"/signers/0/name", Text, {"subject_name"}},
    {"/signers/0/status", Status, {"result"}},
    {"/fileVersion", Version, {"file_version"}},
    {"/versionInfo/FileVersion", Text, {"file_version"}},
    {"/versionInfo/ProductVersion", Text, {"product_version"}},
    {"/versionInfo/OriginalFilename", Text, {"original_filename"}},
    {"/parent/path", Text, {"parent_path"}},
    {"/parent/pid", Number, {"parent", "ppid"}},
    {"/parent/commandLine", Text, {"parent_cmdline"}},
};

constexpr SkxEventField kPlain[] = {
    {"/id", Id, {"id"}},
    {"/path", Text, {"image"}},
    {"/pid", Number, {"pid"}},
    {"/commandLine", Text, {"commandLine"}},
    {"/hashes", Hashes, {"hashes"}},
    {"/signers/0/name", Text, {"signer"}},
    {"/signers/0/status", Status, {"signatureStatus"}},
    {"/fileVersion", Version, {"fileVersion"}},
    {"/versionInfo/CompanyName", Text, {"company"}},
    {"/versionInfo/ProductName", Text, {"product"}},
    {"/versionInfo/FileDescription", Text, {"description"}},
    {"/versionInfo/FileVersion", Text, {"fileVersion"}},
    {"/versionInfo/OriginalFilename", Text, {"originalFileName"}},
    {"/parent/path", Text, {"parentImage"}},
    {"/parent/pid", Number, {"parentPid"}},
    {"/parent/commandLine", Text, {"parentCommandLine"}},
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
