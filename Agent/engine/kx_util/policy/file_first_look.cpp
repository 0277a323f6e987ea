#include "Agent/engine/kx_util/policy/file_first_look.h"

#include <kx_util/match_file.h>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/match/arguments_of.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/trace.h"

namespace {

using enum EkxFirstLook;

/// Whether somebody takes the lines of such a level: a check that writes some is beyond a first look then.
bool IsTold(EkxTraceLevel level) { return kx_trace_detail::IsOn(level); }

/// As `KxUtil_MatchPublisher`, but for a second signer.
EkxFirstLook CheckSigner(const SkxStoredPattern& pattern, const CkxTargetInfoFile& file) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const CkxTextView name = file.GetPublisher(false, status);
  if (status != EkxPublisherStatus::Valid && status != EkxPublisherStatus::ValidByWeakDigest) return Fails;
  const EkxFirstLook first = name.IsEmpty() ? Fails : pattern.Match(name);
  return first == Passes && status == EkxPublisherStatus::ValidByWeakDigest ? Unsure : first;
}

EkxFirstLook CheckUnsigned(const CkxTargetInfoFile& file) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  return KxFirstLook_Of(file.GetPublisher(false, status) == nullptr);
}

/// One element of a list of publishers; one that is not set is nobody.
EkxFirstLook CheckPublisher(CkxRecordScan& in, const CkxTargetInfoFile& file) {
  uint8_t isSet = 0;
  SkxStoredPattern pattern;
  uint8_t unsignedOnly = 0;
  if (!in.Read(isSet)) return Unsure;
  if (isSet == 0) return Fails;
  if (!pattern.Read(in) || !in.Read(unsignedOnly)) return Unsure;
  return unsignedOnly != 0 ? CheckUnsigned(file) : CheckSigner(pattern, file);
}

/// One element of a list of named facts; one that is not set is as no file has it. `factOf(name)` is what the file has,
/// null for none.
template <class FactOf>
EkxFirstLook CheckFact(CkxRecordScan& in, FactOf factOf) {
  uint8_t isSet = 0;
  SkxStoredPattern pattern;
  SkxStoredText storedName;
  if (!in.Read(isSet)) return Unsure;
  if (isSet == 0) return Fails;
  if (!pattern.Read(in) || !in.StoredText(storedName)) return Unsure;
  const CkxUnobfuscated name(storedName);
  if (!name.IsUsable() || name.Terminated() == nullptr) return Unsure;
  const CkxTextView fact = factOf(name.Terminated());
  return fact.IsNull() ? Fails : pattern.Match(fact);
}

/// All of them have to match.
template <class FactOf>
EkxFirstLook CheckFacts(CkxRecordScan fields, FactOf factOf) {
  EkxFirstLook all = Passes;
  const bool isRead = fields.List([&](CkxRecordScan& in) { return (all = CheckFact(in, factOf)) == Passes; });
  return isRead || all != Passes ? all : Unsure;
}

}  // namespace

void CkxFileFirstLook::Take(const CkxTargetInfoFile& file, const CkxTargetInfoProcess* process) {
  _file = &file;
  _process = process;
  _name = KxText_Trim(KxPath_FileName(file.GetPath()));
  _isFolded = _name.Size() <= kMaxName;
  for (size_t i = 0; _isFolded && i < _name.Size(); ++i) _folded[i] = KxText_Fold(_name[i]);
}

EkxFirstLook CkxFileFirstLook::Check(EkxTargetField field, const SkxScannedTarget& target) {
  switch (field) {
    case EkxTargetField::FileName:
      return CheckName(target);
    case EkxTargetField::Location:
      return CheckLocation(target.FieldsOf(field));
    case EkxTargetField::Arguments:
      return CheckArguments(target.FieldsOf(field));
    case EkxTargetField::ServiceName:
      return Passes;
    case EkxTargetField::InstallerProperties:
      if (!_file->AreFactsAtHand()) return Unsure;
      return CheckFacts(target.FieldsOf(field), [this](const WCHAR* name) { return _file->GetMsiProperty(name); });
    case EkxTargetField::VersionFields:
      if (!_file->AreFactsAtHand()) return Unsure;
      return CheckFacts(target.FieldsOf(field), [this](const WCHAR* name) { return _file->GetVersionInfo(name); });
    case EkxTargetField::Publishers:
      return CheckPublishers(target.FieldsOf(field));
    default:
      return Unsure;
  }
}

bool CkxFileFirstLook::MayPassAll(const SkxScannedTarget& target) {
  for (uint32_t left = target.set; left != 0; left &= left - 1) {
    const EkxFirstLook check = Check(static_cast<EkxTargetField>(std::countr_zero(left)), target);
    if (check != Passes) return check == Unsure;
  }
  return true;
}

/// A target that excludes never has a hash that matches.
EkxFirstLook CkxFileFirstLook::CheckHash(const SkxScannedTarget& target) const {
  const CkxTextView hash = target.hash.View();
  if (hash.IsEmpty()) return Passes;
  if (target.type == EkxPolicyTarget::Exclude) return Fails;
  if (!_file->AreFactsAtHand()) return Unsure;
  return KxFirstLook_Of(KxUtil_MatchHash(*_file, target.hashAlgorithm.View(), hash, target.fileSize));
}

/// An empty command line is one that is not known.
EkxFirstLook CkxFileFirstLook::CheckArguments(CkxRecordScan fields) {
  SkxStoredPattern pattern;
  if (!pattern.Read(fields)) return Unsure;
  if (_process == nullptr) return Passes;
  if (!_process->IsPathAtHand()) return Unsure;
  const CkxTextView commandLine = _process->CommandLine();
  if (commandLine.IsEmpty()) return Fails;
  if (!_arguments) _arguments = KxCommandLine_TakeApart(commandLine, _process->GetPath()).arguments;
  return pattern.MatchBy(KxArguments_Match, *_arguments);
}

EkxFirstLook CkxFileFirstLook::CheckLocation(CkxRecordScan fields) {
  SkxStoredText storedPattern;
  uint8_t withSubfolders = 0;
  SkxPlainText types;
  if (!fields.StoredText(storedPattern) || !fields.Read(withSubfolders) || !fields.Text(types)) return Unsure;
  const CkxUnobfuscated pattern(storedPattern);
  if (!pattern.IsUsable() || pattern.View().IsEmpty() || IsTold(EkxTraceLevel::Info)) return Unsure;
  if (!_location) _location.emplace(*_file);
  if (_location->Path().IsEmpty()) return Unsure;
  return KxFirstLook_Of(_location->Matches(types.View(), pattern.View(), withSubfolders != 0));
}

/// One of them has to match.
EkxFirstLook CkxFileFirstLook::CheckPublishers(CkxRecordScan fields) const {
  if (!_file->IsSignerAtHand() || IsTold(EkxTraceLevel::Trace)) return Unsure;
  EkxFirstLook any = Fails;
  const bool isRead = fields.List([&](CkxRecordScan& in) { return (any = CheckPublisher(in, *_file)) == Fails; });
  return isRead || any != Fails ? any : Unsure;
}
