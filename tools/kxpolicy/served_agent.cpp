#include "tools/kxpolicy/served_agent.h"

#include <algorithm>

#include "Agent/engine/kx_publish/image/image_manifest.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/own_ids.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/image_summary.h"

namespace {

namespace fs = std::filesystem;

fs::path ServedPath(const std::string& utf8) { return fs::path(KxText_FromUtf8(utf8).value_or(KxWString())); }

constexpr uint32_t kChannelBusy = 170;

[[noreturn]] void ThrowClosed(const KxWString& channel) {
  const uint32_t error = KxLastError_Get();
  throw CkxToolFault(EkxExit::SystemRefused,
                     "the channel " + KxText_ToUtf8(channel) +
                         (error == kChannelBusy ? " is somebody else's already; `kxpolicy status` asks whose"
                                                : " cannot be opened: " + KxError_Words()));
}

/// But for who signed it, since that may not count any more when somebody asks.
std::optional<SkxStatusImage> StatusImageOf(const SkxKeptImagePtr& kept) {
  if (!kept) return std::nullopt;
  return SkxStatusImage{kept->digest, KxImage_Summary(kept->image).policies.size(), std::nullopt};
}

}  // namespace

CkxServedAgent::CkxServedAgent(const SkxServeOptions& options, SkxStreams& streams)
    : _options(options),
      _demand(options.signature),
      _log(streams, options.verbose),
      _startedAt(KxFileTime_Now()),
      _watch(ServedPath(options.image)),
      _service([this](const auto& line) { _log.Event(line); }),
      _control({[this] { return Status(); }, [this] { return Rollback(); }}) {}

void CkxServedAgent::Start() {
  std::string error;
  if (!_options.keep.empty() && !_history.Open(ServedPath(_options.keep).string<WCHAR>(), error)) {
    throw CkxToolFault(EkxExit::SystemRefused, error);
  }
  _watch.LookNow();
  bool isKept = false;
  SkxPublishableImage publishable = LoadForStart(isKept);
  KxWString channel;
  // Whoever asks before the publication is there is refused: another one may still be in force, and its policies are
  // not this image's.
  if (!_service.Start(channel)) ThrowClosed(channel);
  if (isKept) {
    PutInForce(publishable, _history.State());
  } else {
    Show(publishable);
  }
  if (!_control.Start(channel)) {
    std::string untold;
    _publication.Unpublish(untold);  // or it would stay in force with nobody to answer for it
    ThrowClosed(channel);
  }
  _log.State("serving " + _options.image);
}

void CkxServedAgent::LookAtImage() {
  const std::lock_guard lock(_changing);
  if (_watch.IsWorthALoad()) ShowFolder(EkxWithdrawn::StaysOut);
}

void CkxServedAgent::Reload() {
  const std::lock_guard lock(_changing);
  _watch.LookNow();
  {
    const std::lock_guard telling(_telling);
    _fault.clear();  // whoever asks again is told again
  }
  ShowFolder(EkxWithdrawn::MayComeBack);
}

void CkxServedAgent::Stop() {
  _control.Stop();
  _service.Stop();
  std::string error;
  if (!_publication.Unpublish(error)) throw CkxToolFault(EkxExit::SystemRefused, error);
  _log.Event("stopped");
}

std::string CkxServedAgent::StateLine() const {
  const std::lock_guard lock(_telling);
  const std::string what = KxCounted(_told.inForce.policies, "policy", "policies") + " of " + _told.folder +
                           (_told.withdrawn ? ", after a rollback" : "") + ", in force since " + _told.since;
  return _fault.empty() ? what : what + "; " + _fault;
}

SkxServiceStatus CkxServedAgent::Status() const {
  SkxServiceStatus status;
  SkxKeptImagePtr before;
  {
    const std::lock_guard lock(_telling);
    status = _told;
    before = _before;
  }
  if (status.before.has_value()) {
    try {
      status.before->signer = _demand.Require(before->image, "");
    } catch (const CkxToolFault&) {  // a rollback would refuse it too
      status.before.reset();
    }
  }
  status.processId = KxOwn_ProcessId();
  status.startedAt = KxServiceStatus_Time(_startedAt);
  status.uptimeSeconds = static_cast<uint64_t>(std::max<int64_t>(KxFileTime_Now() - _startedAt, 0) / 10000000);
  status.requests = _service.Requests();
  const std::vector<SkxPolicyHits> hits = _service.Hits();  // by id
  for (SkxStatusPolicy& policy : status.policies) {
    const auto hit = std::lower_bound(hits.begin(), hits.end(), policy.id,
                                      [](const SkxPolicyHits& each, uint32_t id) { return each.policyId < id; });
    if (hit != hits.end() && hit->policyId == policy.id) policy.decided = hit->decided;
  }
  return status;
}

std::string CkxServedAgent::Rollback() {
  const std::lock_guard lock(_changing);
  const SkxKeptImagePtr before = _history.State().previous;
  if (!before) return "there is no image before the one in force to go back to";
  try {
    SkxImageHistoryState next = _history.AfterRollback();
    const std::string line = "rolled back; image " + next.withdrawn.value_or("") +
                             " is out of force until its folder holds another one, or a reload";
    PutInForce(FromHistory(*before), std::move(next));
    _log.State(line);
    return "";
  } catch (const CkxToolFault& fault) {
    return fault.what();
  }
}

SkxPublishableImage CkxServedAgent::Load() const {
  return KxImage_ToPublish(KxImage_Load(_options.image), _options.image, _demand, _options.mayBeEmpty);
}

/// What was in force once may be so again, even without a policy.
SkxPublishableImage CkxServedAgent::FromHistory(const SkxKeptImage& kept) const {
  return KxImage_ToPublish(kept.image, "image " + kept.digest, _demand, true);
}

/// The kept image where the folder's was taken out of force, or cannot be used.
SkxPublishableImage CkxServedAgent::LoadForStart(bool& isKept) {
  isKept = _history.State().current != nullptr;
  try {
    SkxPublishableImage publishable = Load();
    if (!IsWithdrawn(publishable)) {
      isKept = false;
      return publishable;
    }
    if (!isKept) {
      throw CkxToolFault(EkxExit::UnusableInput, _options.image +
                                                     ": was taken out of force by a rollback, and the image " +
                                                     "that took its place is not in " + _options.keep + " any more");
    }
  } catch (const CkxToolFault& fault) {
    if (!isKept) throw;
    _watch.TryAgain();
    TellFault(fault.what());
  }
  return FromHistory(*_history.State().current);
}

/// However often an image is copied into its place: what a rollback took out of force comes back when somebody says so.
/// One of which a file cannot be read just now may be that one.
bool CkxServedAgent::IsWithdrawn(const SkxPublishableImage& publishable) const {
  const std::optional<std::string>& withdrawn = _history.State().withdrawn;
  const std::optional<std::string>& names = publishable.image.names;
  if (withdrawn && names && names->empty()) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       _options.image + "/names.json: cannot be read, so nobody knows whether a rollback took this " +
                           "image out of force");
  }
  return withdrawn == KxImageManifest_Digest(publishable.image);
}

void CkxServedAgent::ShowFolder(EkxWithdrawn withdrawn) {
  try {
    const SkxPublishableImage publishable = Load();
    if (withdrawn == EkxWithdrawn::MayComeBack || !IsWithdrawn(publishable)) Show(publishable);
    const std::lock_guard lock(_telling);
    _fault.clear();
  } catch (const std::exception& fault) {
    _watch.TryAgain();
    TellFault(fault.what());
  }
}

void CkxServedAgent::Show(const SkxPublishableImage& publishable) {
  PutInForce(publishable, _history.AfterPuttingInForce(publishable.image));
}

/// One step for whoever asks: a user's policies are those of the publication that is in force. What can fail comes
/// before it; a history that cannot be written is told, and is so in memory all the same.
void CkxServedAgent::PutInForce(const SkxPublishableImage& publishable, SkxImageHistoryState next) {
  SkxServiceStatus told = StatusOf(publishable, next);
  std::string error;
  const auto commit = [&] {
    told.publication = _publication.NextName();
    return _publication.Commit(error);
  };
  if (!_publication.Prepare(publishable.image, error) || !_service.Replace(publishable.image, commit)) {
    throw CkxToolFault(EkxExit::SystemRefused, error);
  }
  TakeStep(std::move(next), std::move(told));
  _log.State(publishable.line);
  KeepHistory();
}

SkxServiceStatus CkxServedAgent::StatusOf(const SkxPublishableImage& publishable,
                                          const SkxImageHistoryState& history) const {
  SkxServiceStatus told;
  told.folder = _options.image;
  told.inForce = {history.current->digest, publishable.policies.size(), publishable.signer};
  told.signatureRequired = _demand.IsMade();
  told.since = KxServiceStatus_Time(KxFileTime_Now());
  told.before = StatusImageOf(history.previous);
  told.withdrawn = history.withdrawn;
  for (const SkxPolicyName& policy : publishable.policies) told.policies.push_back({policy.id, policy.name, 0});
  std::sort(told.policies.begin(), told.policies.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
  return told;
}

void CkxServedAgent::TakeStep(SkxImageHistoryState next, SkxServiceStatus told) noexcept {
  _history.Take(std::move(next));
  const std::lock_guard lock(_telling);
  told.faults = std::move(_told.faults);
  _told = std::move(told);
  _before = _history.State().previous;
}

void CkxServedAgent::KeepHistory() noexcept {
  try {
    std::string error;
    if (!_history.Keep(error)) TellFault(error.c_str());
  } catch (const std::exception&) {
    TellFault("the image in force cannot be kept: out of memory");
  }
}

/// The same fault of an image that is tried again and again is told, and counted, once.
void CkxServedAgent::TellFault(const char* fault) noexcept {
  try {
    const std::lock_guard lock(_telling);
    if (_fault == fault) return;
    _log.Fault(fault);
    ++_told.faults.count;
    _told.faults.lastAt = KxServiceStatus_Time(KxFileTime_Now());
    _told.faults.last = fault;
    _fault = fault;
  } catch (const std::bad_alloc&) {  // it is told at the next try
  }
}
