#include "Agent/engine/kx_util/store/snapshot_candidates.h"

#include <algorithm>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/match/judged_location.h"
#include "Common_CPP/file/path.h"

namespace {

using Ranks = CkxSnapshotIndex::Ranks;

constexpr size_t kUsualPostings = 32;

bool IsLater(const Ranks& a, const Ranks& b) { return a.front() > b.front(); }

Ranks From(Ranks ranks, uint32_t first) {
  return ranks.subspan(static_cast<size_t>(std::lower_bound(ranks.begin(), ranks.end(), first) - ranks.begin()));
}

/// Whether everything that a type may turn out to be about says of itself where it lies.
bool AreLinkedPathsAtHand(const CkxTargetInfoProcess& process) {
  return std::all_of(process.Linked().begin(), process.Linked().end(), [](const CkxTargetInfoPtr& linked) {
    return !linked->IsTargetInfoFile() || static_cast<const CkxTargetInfoFile&>(*linked).IsPathAtHand();
  });
}

bool IsAtHand(EkxDemand demand, const CkxTargetInfoFile& file) {
  if (demand == EkxDemand::ArgumentsPiece) return true;
  return demand == EkxDemand::Publisher ? file.IsSignerAtHand() : file.AreFactsAtHand();
}

}  // namespace

CkxSnapshotCandidates::CkxSnapshotCandidates(const CkxSnapshotIndex& index, std::span<const uint32_t> policyIds,
                                             const CkxApplicablePolicies& applicable, const CkxTargetInfoFile& target)
    : _index(index),
      _policyIds(policyIds),
      _applicable(applicable),
      _target(target),
      _carrier(target.IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess*>(&target) : nullptr) {
  _found.reserve(kUsualPostings);
}

bool CkxSnapshotCandidates::Begin(uint32_t rank) {
  _next = rank;
  Take(_index.AskedAlways());
  constexpr EkxPolicyTarget kTypes[] = {EkxPolicyTarget::Executable, EkxPolicyTarget::Script, EkxPolicyTarget::Msi,
                                        EkxPolicyTarget::Msu,        EkxPolicyTarget::Dll,    EkxPolicyTarget::Exclude};
  for (const EkxPolicyTarget type : kTypes) {
    if (!_index.HasAny(type)) continue;
    SkxSubject subject;
    if (!Seek(type, subject)) return false;
    if (subject.file == nullptr) continue;
    if (!CkxTextView(subject.file->GetPath()).IsEmpty()) {
      TakeName(type, subject);
      TakeFolders(type, subject);
    }
    for (const CkxSnapshotIndex::SkxFact& fact : _index.Facts()) {
      if (fact.type == type) Await(fact, subject);
    }
  }
  std::sort(_due.begin(), _due.end(), [](const SkxDue& a, const SkxDue& b) { return a.rank > b.rank; });
  return true;
}

/// As targets of the type seek what they are about. False when that cannot be told without a look at a file.
bool CkxSnapshotCandidates::Seek(EkxPolicyTarget type, SkxSubject& subject) const {
  if (type == EkxPolicyTarget::Exclude || type == EkxPolicyTarget::Executable) {
    if (type == EkxPolicyTarget::Exclude || _target.IsTargetType(type)) subject = {&_target, _carrier};
    return true;
  }
  if (_carrier != nullptr && !AreLinkedPathsAtHand(*_carrier)) return false;
  CkxTargetInfoFile* file = nullptr;
  CkxTargetInfoProcess* process = nullptr;
  if (!KxUtil_GetFileProcTargetsOfType(_target, type, file, process)) return true;
  subject = {file, process != nullptr ? process : _carrier};
  return file->IsPathAtHand();
}

void CkxSnapshotCandidates::TakeName(EkxPolicyTarget type, const SkxSubject& subject) {
  const CkxTextView name = KxText_Trim(KxPath_FileName(subject.file->GetPath()));
  if (_index.Has(EkxDemand::Name, type)) {
    Take(_index.Find(KxSnapshotKey_Of(KxSnapshotKey_Seed(EkxDemand::Name, type), KxSnapshotKey_Text(name))));
  }
  if (_index.Has(EkxDemand::NamePiece, type)) TakePieces(KxSnapshotKey_Seed(EkxDemand::NamePiece, type), name);
}

void CkxSnapshotCandidates::TakeFolders(EkxPolicyTarget type, const SkxSubject& subject) {
  if (!_index.Has(EkxDemand::Folder, type)) return;
  const CkxJudgedLocation location(*subject.file);
  const uint64_t seed = KxSnapshotKey_Seed(EkxDemand::Folder, type);
  for (const uint64_t folder : KxSnapshotKey_Folders(KxPath_Folder(location.Path()))) {
    Take(_index.Find(KxSnapshotKey_Of(seed, folder)));
  }
}

/// Each once, however often whoever wrote the text repeats it.
void CkxSnapshotCandidates::TakePieces(uint64_t seed, CkxTextView text) {
  std::vector<uint64_t> pieces;
  KxSnapshotKey_EachPiece(text, [&](uint64_t piece) {
    if (_index.MayHavePiece(piece)) pieces.push_back(piece);
  });
  std::sort(pieces.begin(), pieces.end());
  pieces.erase(std::unique(pieces.begin(), pieces.end()), pieces.end());
  for (const uint64_t piece : pieces) Take(_index.Find(KxSnapshotKey_Of(seed, piece)));
}

/// The fact is due when the first policy comes up that asks for it in any case: every one that hangs there, where it
/// costs nothing.
void CkxSnapshotCandidates::Await(const CkxSnapshotIndex::SkxFact& fact, const SkxSubject& subject) {
  const bool isAtHand = IsAtHand(fact.demand, *subject.file);
  if (!isAtHand) Take(fact.others);
  const Ranks askers = From(isAtHand ? fact.users : fact.firstAskers, _next);
  const auto isWorthIt = [&](uint32_t rank) { return isAtHand || IsApplicable(rank); };
  const auto first = std::find_if(askers.begin(), askers.end(), isWorthIt);
  if (first != askers.end()) _due.push_back({*first, &fact, subject});
}

void CkxSnapshotCandidates::Ask(const CkxSnapshotIndex::SkxFact& fact, const SkxSubject& subject) {
  const uint64_t seed = KxSnapshotKey_Seed(fact.demand, fact.type, fact.place);
  const auto take = [&](CkxTextView text) {
    if (!text.IsNull()) Take(_index.Find(KxSnapshotKey_Of(seed, KxSnapshotKey_Text(text))));
  };
  switch (fact.demand) {
    case EkxDemand::ArgumentsPiece: {
      const auto* const process = subject.process;
      if (process == nullptr || CkxTextView(process->CommandLine()).IsEmpty()) return;
      return TakePieces(seed, KxCommandLine_TakeApart(process->CommandLine(), process->GetPath()).arguments);
    }
    case EkxDemand::Hash:
      return take(subject.file->GetHashStringUsing(fact.name.c_str()));
    case EkxDemand::VersionField: {
      const CkxTextView field = subject.file->GetVersionInfo(fact.name.c_str());
      return take(field.IsNull() ? field : KxText_Trim(field));
    }
    case EkxDemand::Publisher: {
      EkxPublisherStatus status = EkxPublisherStatus::Unknown;
      const CkxTextView signer = subject.file->GetPublisher(false, status);
      return take(signer.IsNull() ? signer : KxText_Trim(signer));
    }
    default:
      return;
  }
}

void CkxSnapshotCandidates::Take(Ranks ranks) {
  ranks = From(ranks, _next);
  if (ranks.empty()) return;
  _found.push_back(ranks);
  std::push_heap(_found.begin(), _found.end(), IsLater);
}

void CkxSnapshotCandidates::AskForDue() {
  while (!_due.empty() && (_found.empty() || _due.back().rank <= _found.front().front())) {
    const SkxDue due = _due.back();
    _due.pop_back();
    _next = std::max(_next, due.rank);
    Ask(*due.fact, due.subject);
  }
}

bool CkxSnapshotCandidates::Next(uint32_t& rank) {
  AskForDue();
  if (_found.empty() || KxFault_Current() != EkxEvaluationFault::None) return false;
  rank = _found.front().front();
  _next = rank + 1;
  while (!_found.empty() && _found.front().front() == rank) {
    std::pop_heap(_found.begin(), _found.end(), IsLater);
    Ranks& last = _found.back();
    last = last.subspan(1);
    if (last.empty()) {
      _found.pop_back();
    } else {
      std::push_heap(_found.begin(), _found.end(), IsLater);
    }
  }
  return true;
}
