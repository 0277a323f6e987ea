// origin get, set, copy, delete, migrate: what is kept with files of this machine.
#include <kx_util/origin_caller.h>
#include <kx_util/src_url_data.h>

#include <algorithm>
#include <filesystem>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_util/origin/kept_records.h"
#include "Agent/engine/kx_util/target/kept_origin.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/origin_text.h"
#include "tools/kxpolicy/record_json.h"
#include "tools/kxpolicy/secret_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;

KxWString PathArgument(const std::string& file) {
  std::optional<KxWString> path = KxText_FromUtf8(file);
  if (!path || path->empty()) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + file + "\" is no path");
  return *std::move(path);
}

[[noreturn]] void SystemRefuses(const std::string& file, const std::string& reason) {
  KxTool_RequireMemory();
  throw CkxToolFault(EkxExit::SystemRefused, file + ": " + reason);
}

[[noreturn]] void CannotOpen(const std::string& file) {
  SystemRefuses(file, "cannot be opened: " + KxFile_WhyRefused(PathArgument(file)));
}

EkxExit AnswerRefusal(const std::string& file, const std::string& reason, SkxStreams& streams) {
  KxTool_RequireMemory();
  streams.out << ordered_json{{"file", file}, {"refused", true}, {"error", reason}}.dump() << '\n';
  return EkxExit::Failure;
}

/// How something that was to be written ends: `status` is the system's where that refused.
EkxExit Ended(bool isDone, long status, const std::string& file, const CkxRefusal& refusal, SkxStreams& streams) {
  if (isDone) return EkxExit::Done;
  if (status < 0) SystemRefuses(file, refusal.Text());
  return AnswerRefusal(file, refusal.Text(), streams);
}

// --- get ---

/// `read` answers what became of the one part.
template <class Record, class Read>
void TakePart(SkxKeptPart<Record>& part, const std::string& file, Read read) {
  const CkxRefusal refusal;
  part.kept = read(part.record);
  if (part.kept == EkxKeptRecord::Refused) part.error = refusal.Text();
  if (part.kept == EkxKeptRecord::NotTold) SystemRefuses(file, refusal.Text());
}

EkxKeptRecord ReadUri(intptr_t file, CkxTextView path, KxWString& uri) {
  CkxSrcUrlData data;
  const EkxKeptRecord read = KxKept_Url(file, path, data);
  uri = data.Uri().View().ToString();
  return read;
}

bool HasSideFile(const KxWString& path) {
  std::error_code error;
  return std::filesystem::exists(CkxSrcEmailData::SideFileOf(path.c_str()), error);
}

EkxKeptRecord ReadEmail(const KxWString& path, CkxSrcEmailData& email) {
  if (!HasSideFile(path)) return EkxKeptRecord::Absent;
  return email.FromFile(path.c_str()) ? EkxKeptRecord::Read : EkxKeptRecord::Refused;
}

SkxKeptParts PartsOf(const std::string& file) {
  const KxWString path = PathArgument(file);
  SkxKeptParts parts;
  parts.file = file;
  CkxFileReader opened;
  if (!opened.Open(path)) CannotOpen(file);
  const intptr_t handle = opened.NativeHandle();
  TakePart(parts.agent, file, [&](auto& record) { return KxKept_AgentOrigin(handle, path, record); });
  TakePart(parts.driver, file, [&](auto& record) { return KxKept_DriverData(handle, path, record); });
  TakePart(parts.uri, file, [&](auto& record) { return ReadUri(handle, path, record); });
  TakePart(parts.email, file, [&](auto& record) { return ReadEmail(path, record); });
  parts.origin = KxKeptOrigin_Of(opened, path, nullptr);
  KxTool_RequireMemory();
  return parts;
}

template <class Record, class ToJson>
ordered_json JsonOfPart(const SkxKeptPart<Record>& part, ToJson toJson) {
  if (part.kept == EkxKeptRecord::Refused) return {{"refused", true}, {"error", part.error}};
  return part.kept == EkxKeptRecord::Read ? ordered_json(toJson(part.record)) : ordered_json();
}

ordered_json JsonOfParts(const SkxKeptParts& parts) {
  ordered_json answer = {{"file", parts.file}};
  answer["agent"] = JsonOfPart(parts.agent, [](const auto& origin) { return KxOriginDocument_Write(origin, {false}); });
  answer["driver"] = JsonOfPart(parts.driver, KxRecordJson_OfDriver);
  answer["uri"] = JsonOfPart(parts.uri, [](const KxWString& uri) { return KxText_ToUtf8(uri); });
  answer["email"] = JsonOfPart(parts.email, KxRecordJson_OfEmail);
  const bool isKnown = parts.origin != nullptr;
  answer["mainSourceType"] = isKnown ? static_cast<uint32_t>(parts.origin->GetMainSourceType()) : 0;
  return answer;
}

EkxExit GetOrigin(const std::string& file, bool asJson, SkxStreams& streams) {
  const SkxKeptParts parts = PartsOf(file);
  if (asJson) {
    streams.out << JsonOfParts(parts).dump() << '\n';
  } else {
    KxOriginText_Write(parts, streams.out);
  }
  const EkxKeptRecord all[] = {parts.agent.kept, parts.driver.kept, parts.uri.kept, parts.email.kept};
  const auto is = [&](EkxKeptRecord kept) { return std::find(std::begin(all), std::end(all), kept) != std::end(all); };
  return is(EkxKeptRecord::Read) && !is(EkxKeptRecord::Refused) ? EkxExit::Done : EkxExit::Failure;
}

// --- set ---

struct SetOptions {
  std::string file;
  std::string origin, uri, email;
  SkxSecretOptions secrets;
};

/// What an option holds, or standard input. `read` throws for what is no such record.
template <class Read>
auto JsonArgument(const char* option, const std::string& argument, SkxStreams& streams, Read read) {
  try {
    const std::string text = argument == "-" ? CkxInput("-", streams.in).ReadAll() : argument;
    return read(KxJson_Parse(text, false));
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput, std::string(option) + ": " + fault.Line());
  }
}

CkxFileOrigin OriginArgument(const SetOptions& options, SkxStreams& streams) {
  return JsonArgument("--origin", options.origin, streams, [](const nlohmann::json& json) {
    CkxFileOrigin origin;
    KxOriginDocument_Read(json, "", origin);
    return origin;
  });
}

CkxSrcEmailData EmailArgument(const SetOptions& options, SkxStreams& streams) {
  return JsonArgument("--email", options.email, streams,
                      [](const nlohmann::json& json) { return KxRecordJson_ReadEmail(json, ""); });
}

EkxExit SetUri(const SetOptions& options, const KxWString& path, SkxStreams& streams) {
  const std::optional<KxWString> uri = KxText_FromUtf8(options.uri);
  if (!uri) throw CkxToolFault(EkxExit::UnusableArguments, "--uri: is not UTF-8");
  const CkxRefusal refusal;
  CkxSrcUrlData data(*uri);
  std::vector<unsigned char> record;
  const bool isMade = data.ToBytes(record);
  return Ended(isMade && data.ToFile(path.c_str()), isMade ? kKxStatusUnsuccessful : 0, options.file, refusal, streams);
}

/// The agent's word that this process may say where files come from, for its lifetime.
class AnyCaller {
 public:
  AnyCaller() : _before(KxUtil_SetOriginCaller(std::make_shared<Anybody>())) {}
  ~AnyCaller() { KxUtil_SetOriginCaller(std::move(_before)); }
  AnyCaller(const AnyCaller&) = delete;
  AnyCaller& operator=(const AnyCaller&) = delete;

 private:
  struct Anybody : IkxOriginCaller {
    bool MayWrite() const noexcept override { return true; }
  };
  std::shared_ptr<const IkxOriginCaller> _before;
};

EkxExit SetEmail(const std::string& file, const CkxSrcEmailData& email, const KxWString& path, SkxStreams& streams) {
  const CkxRefusal refusal;
  const AnyCaller caller;
  std::string xml;
  const bool isMade = !email.senderAddress.IsEmpty() && email.ToXml(xml);
  return Ended(email.ToFile(path.c_str()), isMade ? kKxStatusUnsuccessful : 0, file, refusal, streams);
}

/// Nothing is written before all arguments are read.
EkxExit SetParts(const SetOptions& options, const CkxOption& uri, SkxStreams& streams) {
  const CkxSecretInput secrets(options.secrets, EkxUnnamedSecrets::Machines);
  const KxWString path = PathArgument(options.file);
  const bool hasOrigin = !options.origin.empty();
  const bool hasEmail = !options.email.empty();
  if (!hasOrigin && !hasEmail && !uri.IsGiven()) {
    throw CkxToolFault(EkxExit::UnusableArguments, "nothing to set: give --origin, --uri or --email");
  }
  if (options.origin == "-" && options.email == "-") {
    throw CkxToolFault(EkxExit::UnusableArguments, "--origin and --email: standard input is there once");
  }
  const CkxSupplementalFileData data(hasOrigin ? OriginArgument(options, streams) : CkxFileOrigin());
  const CkxSrcEmailData email = hasEmail ? EmailArgument(options, streams) : CkxSrcEmailData();
  if (!KxFile_Status(path)) CannotOpen(options.file);
  EkxExit code = EkxExit::Done;
  if (hasOrigin) {
    const CkxRefusal refusal;
    long status = 0;
    const bool isSet = data.ToFile(path.c_str(), &status);
    code = Ended(isSet, status, options.file, refusal, streams);
  }
  if (code == EkxExit::Done && uri.IsGiven()) code = SetUri(options, path, streams);
  if (code == EkxExit::Done && hasEmail) code = SetEmail(options.file, email, path, streams);
  return code;
}

// --- delete ---

struct DeleteOptions {
  std::string file;
  bool origin = false, uri = false, email = false;
};

/// Whatever it holds.
bool HasEa(const std::string& file, const KxWString& path, intptr_t opened, const char* name) {
  const CkxRefusal refusal;
  CkxFileFullEaInfo info;
  const EkxKeptRecord kept = KxKept_Bytes(opened, path, name, info);
  if (kept == EkxKeptRecord::NotTold) SystemRefuses(file, refusal.Text());
  return kept == EkxKeptRecord::Read;
}

bool DeleteDocuments(const std::string& file, const KxWString& path, intptr_t opened, SkxStreams& streams) {
  const bool isThere = HasEa(file, path, opened, CkxSupplementalFileData::kAgentEaName) ||
                       HasEa(file, path, opened, CkxSupplementalFileData::kDriverEaName);
  const CkxRefusal refusal;
  long status = 0;
  const bool isDone = !isThere || CkxSupplementalFileData::DeleteFromFile(path.c_str(), &status);
  Ended(isDone, kKxStatusUnsuccessful, file, refusal, streams);
  return isThere;
}

bool DeleteUri(const std::string& file, const KxWString& path, intptr_t opened, SkxStreams& streams) {
  const bool isThere = HasEa(file, path, opened, CkxSrcUrlData::kEaName);
  const CkxRefusal refusal;
  Ended(!isThere || CkxSrcUrlData::DeleteFromFile(path.c_str()), kKxStatusUnsuccessful, file, refusal, streams);
  return isThere;
}

bool DeleteEmail(const std::string& file, const KxWString& path) {
  std::error_code error;
  const bool isRemoved = std::filesystem::remove(CkxSrcEmailData::SideFileOf(path.c_str()), error);
  if (error) SystemRefuses(file, "the e-mail's file cannot be removed: " + KxError_Words(error));
  return isRemoved;
}

/// Each part that is named must be there; of all, one.
EkxExit DeleteParts(const DeleteOptions& options, SkxStreams& streams) {
  const KxWString path = PathArgument(options.file);
  const bool isAll = !options.origin && !options.uri && !options.email;
  CkxFileReader file;
  if (!file.Open(path)) CannotOpen(options.file);
  const intptr_t handle = file.NativeHandle();
  unsigned asked = 0;
  unsigned found = 0;
  const auto count = [&](bool isThere) {
    ++asked;
    found += isThere ? 1 : 0;
  };
  if (isAll || options.origin) count(DeleteDocuments(options.file, path, handle, streams));
  if (isAll || options.uri) count(DeleteUri(options.file, path, handle, streams));
  if (isAll || options.email) count(DeleteEmail(options.file, path));
  if (isAll ? found > 0 : found == asked) return EkxExit::Done;
  return AnswerRefusal(options.file, "there is no such record", streams);
}

struct FilesOptions {
  std::vector<std::string> files;
  SkxSecretOptions secrets;
};

EkxExit Migrate(const FilesOptions& options, SkxStreams& streams) {
  const CkxSecretInput secrets(options.secrets, EkxUnnamedSecrets::Machines);
  EkxExit worst = EkxExit::Done;
  for (const std::string& file : options.files) {
    const KxWString path = PathArgument(file);
    const CkxRefusal refusal;
    long status = 0;
    const bool isDone = CkxSupplementalFileData::UpdateSignature(path.c_str(), &status);
    const EkxExit code = Ended(isDone, status, file, refusal, streams);
    if (code != EkxExit::Done) worst = code;
  }
  return worst;
}

struct CopyOptions {
  std::string source, target;
  SkxSecretOptions secrets;
};

EkxExit CopyParts(const CopyOptions& options, SkxStreams& streams) {
  const CkxSecretInput secrets(options.secrets, EkxUnnamedSecrets::Machines);
  const KxWString source = PathArgument(options.source);
  const KxWString target = PathArgument(options.target);
  const CkxRefusal refusal;
  long status = 0;
  const bool isDone = CkxSupplementalFileData::Copy(source.c_str(), target.c_str(), &status);
  return Ended(isDone, status, options.target, refusal, streams);
}

struct GetOptions {
  std::string file;
  std::string format = "text";
  SkxSecretOptions secrets;
};

}  // namespace

KxVerbAction KxVerb_OriginGet(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<GetOptions>();
  verb.Add("file", options->file, "A file on this machine").File().Required();
  verb.Add("--format", options->format, "text (for people) or json").OneOf({"text", "json"});
  options->secrets.AddTo(verb);
  return [options](SkxStreams& streams) {
    const CkxSecretInput secrets(options->secrets, EkxUnnamedSecrets::Machines);
    return GetOrigin(options->file, options->format == "json", streams);
  };
}

KxVerbAction KxVerb_OriginSet(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SetOptions>();
  verb.Add("file", options->file, "A file on this machine").File().Required();
  verb.Add("--origin", options->origin, "The record of its origin, the JSON itself; - for standard input");
  const CkxOption uri = verb.Add("--uri", options->uri, "The URI that it was downloaded from");
  verb.Add("--email", options->email, "The e-mail that it came in, the JSON itself; - for standard input");
  options->secrets.AddTo(verb);
  return [options, uri](SkxStreams& streams) { return SetParts(*options, uri, streams); };
}

KxVerbAction KxVerb_OriginCopy(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<CopyOptions>();
  verb.Add("source", options->source, "A file on this machine").File().Required();
  verb.Add("target", options->target, "The file that gets its records").File().Required();
  options->secrets.AddTo(verb);
  return [options](SkxStreams& streams) { return CopyParts(*options, streams); };
}

KxVerbAction KxVerb_OriginDelete(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<DeleteOptions>();
  verb.Add("file", options->file, "A file on this machine").File().Required();
  verb.AddFlag("--origin", options->origin, "The agent's record of its origin, and the driver's");
  verb.AddFlag("--uri", options->uri, "The URI that it was downloaded from");
  verb.AddFlag("--email", options->email, "The e-mail that it came in");
  return [options](SkxStreams& streams) { return DeleteParts(*options, streams); };
}

KxVerbAction KxVerb_OriginMigrate(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<FilesOptions>();
  verb.Add("files", options->files, "Files on this machine").File().Required();
  options->secrets.AddTo(verb);
  return [options](SkxStreams& streams) { return Migrate(*options, streams); };
}
