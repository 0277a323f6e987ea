// ea list, get, set, delete, size: the extended attributes of files of this machine.
#include <kx_util/ext_file_attributes.h>

#include <nlohmann/json.hpp>
#include <ostream>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/hex.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/ea_answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/refusal.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;
using Ea = CkxExtFileAttributes;

struct EaFileOptions {
  std::string file;
  std::string name;
  std::string value, text, wide, valueFile;
  std::string prefix;
  bool all = false;
  bool raw = false;
  bool changeAttributes = false;
};

KxWString WideArgument(const std::string& text) {
  std::optional<KxWString> wide = KxText_FromUtf8(text);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + text + "\" is not UTF-8");
  return *std::move(wide);
}

/// One operation on the file: what it answers when it is refused.
class EaOperation {
 public:
  explicit EaOperation(const EaFileOptions& options, SkxStreams& streams)
      : _options(options), _path(WideArgument(options.file)), _streams(streams) {}

  const WCHAR* Path() const { return _path.c_str(); }
  long* Status() { return &_status; }

  const std::string& Reason() const { return _refusal.Text(); }

  /// What the library refuses by its own rules is an answer; what the system refuses is a fault of the command.
  EkxExit Refuse() { return Refuse(Reason()); }
  EkxExit Refuse(const std::string& reason) {
    KxTool_RequireMemory();
    ordered_json answer = ordered_json::object();
    answer[_options.name.empty() ? "file" : "name"] = _options.name.empty() ? _options.file : _options.name;
    answer["refused"] = true;
    answer["error"] = reason;
    answer["status"] = KxStatus_Text(_status);
    _streams.out << KxEaAnswer_Line(answer) << '\n';
    if (IsAnswer()) return EkxExit::Failure;
    throw CkxToolFault(EkxExit::SystemRefused, _options.file + ": " + reason);
  }

  void Write(const ordered_json& answer) { _streams.out << KxEaAnswer_Line(answer) << '\n'; }

  /// The library's own rules refused it, whatever the status.
  void RefusedByRule(long status) {
    _status = status;
    _isRule = true;
  }

 private:
  bool IsAnswer() const {
    const bool isKernel = KxEaName_IsKernel(_options.name) && _status == kKxStatusAccessDenied && !Ea::DrvSetEnabled();
    return _isRule || isKernel || _status == kKxStatusNoEasOnFile || _status == kKxStatusEaCorrupt ||
           _status == kKxStatusInvalidEaName || _status == kKxStatusInvalidParameter;
  }

  const EaFileOptions& _options;
  const KxWString _path;
  SkxStreams& _streams;
  const CkxRefusal _refusal{EkxTraceLevel::Debug};  // that there is none is no error of the library's
  long _status = 0;
  bool _isRule = false;
};

EkxExit ListEas(const EaFileOptions& options, SkxStreams& streams) {
  EaOperation operation(options, streams);
  Ea list;
  if (!list.LoadAllFromFile(operation.Path(), operation.Status())) return operation.Refuse();
  CkxFileFullEaInfo info;
  for (auto at = list.GetHeadPosition(); at != nullptr && list.GetNext(at, info, false);) {
    operation.Write(KxEaAnswer_Of(info, false));
  }
  return EkxExit::Done;
}

EkxExit GetEa(const EaFileOptions& options, SkxStreams& streams) {
  EaOperation operation(options, streams);
  CkxFileFullEaInfo info;
  if (!Ea::GetFromFile(operation.Path(), options.name.c_str(), info, operation.Status())) return operation.Refuse();
  if (options.raw) {
    streams.out.write(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
  } else {
    operation.Write(KxEaAnswer_Of(info, true));
  }
  return EkxExit::Done;
}

std::vector<unsigned char> BytesOfArgument(const EaFileOptions& options, SkxStreams& streams) {
  if (!options.valueFile.empty()) {
    std::string content = CkxInput(options.valueFile, streams.in).ReadAllBytes();
    return {content.begin(), content.end()};
  }
  std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(options.value);
  if (!bytes) throw CkxToolFault(EkxExit::UnusableArguments, "--value: is not hexadecimal");
  return *std::move(bytes);
}

/// The record of the arguments; false when the library refuses it.
bool MakeEaOfArguments(const EaFileOptions& options, const CkxOption& text, const CkxOption& wide, SkxStreams& streams,
                       CkxFileFullEaInfo& info) {
  if (text.IsGiven()) return info.Set(options.name.c_str(), options.text.c_str(), 0);
  if (wide.IsGiven()) return info.Set(options.name.c_str(), WideArgument(options.wide).c_str(), 0);
  const std::vector<unsigned char> bytes = BytesOfArgument(options, streams);
  if (bytes.size() > kKxEaMaxValueBytes) {
    const bool isFile = !options.valueFile.empty();
    throw CkxToolFault(isFile ? EkxExit::UnusableInput : EkxExit::UnusableArguments,
                       (isFile ? options.valueFile : "--value") + ": has more than 65535 bytes");
  }
  return info.Set(options.name.c_str(), bytes.data(), static_cast<unsigned short>(bytes.size()), 0);
}

/// One that is not there is told, though nothing is left to do. Outdated ones are removed all the same.
EkxExit DeleteEa(const EaFileOptions& options, SkxStreams& streams) {
  EaOperation operation(options, streams);
  long deleted = 0;
  bool isDone = false;
  if (options.all) {
    isDone = Ea::DeleteAllFromFile(operation.Path(), options.changeAttributes, &deleted);
  } else if (!options.prefix.empty()) {
    isDone = Ea::DeleteFromFileByPrefix(operation.Path(), options.prefix.c_str(), options.changeAttributes, &deleted);
  } else {
    CkxFileFullEaInfo info;
    const bool isThere = Ea::GetFromFile(operation.Path(), options.name.c_str(), info, operation.Status());
    if (!isThere && *operation.Status() != kKxStatusNoEasOnFile) return operation.Refuse();
    const std::string reason = operation.Reason();
    isDone = Ea::DeleteFromFile(operation.Path(), options.name.c_str(), options.changeAttributes, &deleted);
    if (isDone && !isThere) return operation.Refuse(reason);
  }
  *operation.Status() = deleted;
  return isDone ? EkxExit::Done : operation.Refuse();
}

EkxExit SizeOfEas(const EaFileOptions& options, SkxStreams& streams) {
  EaOperation operation(options, streams);
  unsigned long size = 0;
  if (!Ea::GetEaSize(operation.Path(), size, operation.Status())) return operation.Refuse();
  operation.Write({{"size", size}});
  return EkxExit::Done;
}

std::shared_ptr<EaFileOptions> DeclareEaFile(const CkxVerbOptions& verb) {
  auto options = std::make_shared<EaFileOptions>();
  verb.Add("file", options->file, "A file or folder on this machine").Path().Required();
  return options;
}

void AddChangeAttributes(const CkxVerbOptions& verb, EaFileOptions& options) {
  verb.AddFlag("--change-attributes", options.changeAttributes, "A read-only file is made writable meanwhile");
}

}  // namespace

KxVerbAction KxVerb_EaList(const CkxVerbOptions& verb) {
  const auto options = DeclareEaFile(verb);
  return [options](SkxStreams& streams) { return ListEas(*options, streams); };
}

KxVerbAction KxVerb_EaGet(const CkxVerbOptions& verb) {
  const auto options = DeclareEaFile(verb);
  verb.Add("name", options->name, "Name of the attribute").Required();
  verb.AddFlag("--raw", options->raw, "The bytes of the value and nothing else");
  return [options](SkxStreams& streams) { return GetEa(*options, streams); };
}

KxVerbAction KxVerb_EaSet(const CkxVerbOptions& verb) {
  const auto options = DeclareEaFile(verb);
  verb.Add("name", options->name, "Name of the attribute").Required();
  const CkxVerbOptions what = verb.AddChoice("content", "What it is set to");
  what.Add("--value", options->value, "Bytes in hexadecimal");
  const CkxOption text = what.Add("--text", options->text, "A text, stored as UTF-8 with its zero");
  const CkxOption wide = what.Add("--wide", options->wide, "A text, stored as UTF-16 with its zero");
  what.Add("--value-file", options->valueFile, "The bytes of this file; - for standard input").File();
  AddChangeAttributes(verb, *options);
  return [options, text, wide](SkxStreams& streams) {
    EaOperation operation(*options, streams);
    CkxFileFullEaInfo info;
    if (!MakeEaOfArguments(*options, text, wide, streams, info)) {
      operation.RefusedByRule(KxEaName_IsValid(options->name) ? kKxStatusEaTooLarge : kKxStatusInvalidEaName);
      return operation.Refuse();
    }
    const bool isSet = Ea::SetToFile(operation.Path(), info, options->changeAttributes, operation.Status());
    return isSet ? EkxExit::Done : operation.Refuse();
  };
}

KxVerbAction KxVerb_EaDelete(const CkxVerbOptions& verb) {
  const auto options = DeclareEaFile(verb);
  const CkxVerbOptions what = verb.AddChoice("which", "What is deleted");
  what.Add("name", options->name, "Name of the attribute");
  what.Add("--prefix", options->prefix, "All that have this text anywhere in their name, in letters of any case");
  what.AddFlag("--all", options->all, "All");
  AddChangeAttributes(verb, *options);
  return [options](SkxStreams& streams) { return DeleteEa(*options, streams); };
}

KxVerbAction KxVerb_EaSize(const CkxVerbOptions& verb) {
  const auto options = DeclareEaFile(verb);
  return [options](SkxStreams& streams) { return SizeOfEas(*options, streams); };
}
