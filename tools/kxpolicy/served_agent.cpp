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
    throw CkxToolFault(EkxExit::UnusableInput, error);
  }
  _watch.LookNow();
  bool isKept = false;
  SkxPublishableImage publishable = LoadForStart(isKept);
  KxWString channel;
  // Whoever asks before the publication is there is refused: another one may still be in force, and its policies are
  // not this image's.
  if (!_service.Start(channel)) ThrowClosed(channel);
  if (isKept) {
    Publish(publishable);
    TellInForce(publishable);
  } else {
    Show(publishable);
  }
  if (!_control.Start(channel)) ThrowClosed(channel);
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

/// Without a wait for what changes images.
SkxServiceStatus CkxServedAgent::Status() const {
  SkxServiceStatus status;
  {
    const std::lock_guard lock(_telling);
    status = _told;
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
  if (!_history.Previous()) return "there is no image before the one in force to go back to";
  try {
    const SkxPublishableImage before = FromHistory(*_history.Previous());
    Publish(before);
    std::string error;
    if (!_history.RollBack(error)) TellFault(error.c_str());
    TellInForce(before);
    _log.State("rolled back; image " + _history.Withdrawn().value_or("") +
               " is out of force until its folder holds another one, or a reload");
    return "";
  } catch (const CkxToolFault& fault) {
    return fault.what();
  }
}

SkxPublishableImage CkxServedAgent::Load() const {
  return KxImage_ToPublish(KxImage_Load(_options.image), _options.image, _demand, _options.mayBeEmpty);
}

/// As it is now: one whose signature does not count any more is nothing to go back to.
std::optional<SkxStatusImage> CkxServedAgent::Before() const {
  if (!_history.Previous()) return std::nullopt;
  try {
    const SkxPublishableImage before = FromHistory(*_history.Previous());
    return SkxStatusImage{_history.Previous()->digest, before.policies.size(), before.signer};
  } catch (const CkxToolFault&) {
    return std::nullopt;
  }
}

/// What was in force once may be so again, even without a policy.
SkxPublishableImage CkxServedAgent::FromHistory(const SkxKeptImage& kept) const {
  return KxImage_ToPublish(kept.image, "image " + kept.digest, _demand, true);
}

/// The kept image where the folder's was taken out of force, or cannot be used.
SkxPublishableImage CkxServedAgent::LoadForStart(bool& isKept) {
  isKept = _history.Current().has_value();
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
  return FromHistory(*_history.Current());
}

/// However often an image is copied into its place: what a rollback took out of force comes back when somebody says so.
bool CkxServedAgent::IsWithdrawn(const SkxPublishableImage& publishable) const {
  return _history.Withdrawn() == KxImageManifest_Digest(publishable.image);
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
  Publish(publishable);
  std::string error;
  if (!_history.PutInForce(publishable.image, error)) TellFault(error.c_str());
  TellInForce(publishable);
}

/// One step for whoever asks: a user's policies are those of the publication that is in force.
void CkxServedAgent::Publish(const SkxPublishableImage& publishable) {
  std::string error;
  if (!_publication.Prepare(publishable.image, error) ||
      !_service.Replace(publishable.image, [&] { return _publication.Commit(error); })) {
    throw CkxToolFault(EkxExit::SystemRefused, error);
  }
  _log.State(publishable.line);
}

void CkxServedAgent::TellInForce(const SkxPublishableImage& publishable) {
  SkxServiceStatus told;
  told.folder = _options.image;
  told.publication = _publication.Name();
  told.inForce = {_history.Current()->digest, publishable.policies.size(), publishable.signer};
  told.signatureRequired = _demand.IsMade();
  told.since = KxServiceStatus_Time(KxFileTime_Now());
  told.before = Before();
  told.withdrawn = _history.Withdrawn();
  for (const SkxPolicyName& policy : publishable.policies) told.policies.push_back({policy.id, policy.name, 0});
  std::sort(told.policies.begin(), told.policies.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
  const std::lock_guard lock(_telling);
  told.faults = _told.faults;
  _told = std::move(told);
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
