#include <atomic>
#include <random>

#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/notice/named_notice.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"

namespace {

constexpr DWORD kLookAgainMs = 30000;  // where nobody remembers for us
constexpr DWORD kNotThereYetMs = 1000;
constexpr DWORD kHeldUpMs = 250;  // between two answers while somebody leaves the event set

constexpr const WCHAR* kWaitersToo =
    L"(A;;0x120000;;;WD)(A;;0x120000;;;S-1-15-2-1)(A;;GA;;;BA)";  // SYNCHRONIZE, READ_CONTROL

/// That the turn `turn` is over.
KxWString EventName(const KxWString& name, uint64_t turn) {
  KxWString text = name + L'-';
  for (int shift = 60; shift >= 0; shift -= 4) text += L"0123456789ABCDEF"[(turn >> shift) & 15];
  return text;
}

CkxHandle AgentsOrNone(CkxHandle event, const KxWString& name) {
  return event && KxObject_IsAgents(event.Get(), name) ? std::move(event) : CkxHandle();
}

/// Opened when there is one; whoever makes it, the other side can use it.
CkxHandle MakeEvent(const KxWString& name, DWORD access) {
  CkxObjectAccess everyone(kWaitersToo);
  if (!everyone) return CkxHandle();
  return AgentsOrNone(
      CkxHandle(CreateEventExW(everyone.Attributes(), name.c_str(), CREATE_EVENT_MANUAL_RESET, access | READ_CONTROL)),
      name);
}

CkxHandle OpenAgentsEvent(const KxWString& name, DWORD access) {
  return AgentsOrNone(CkxHandle(OpenEventW(access | READ_CONTROL, FALSE, name.c_str())), name);
}

/// Whether what this process makes is taken for the agent's.
bool MakesAgentsObjects() {
  const std::optional<CkxSid> owner = KxToken_OwnerOfNewObjects();
  return owner && (KxTrust_IsPrivileged(*owner) || KxObject_IsOwn(*owner));
}

/// The turn that a sender writes. While one is held, the section stays, and with it the turn of a sender that is gone.
class CkxTurn {
 public:
  explicit CkxTurn(const KxWString& name) : _name(name + L"-Turn") {}

  const KxWString& SectionName() const { return _name; }

  /// 0: nobody has signaled yet.
  uint64_t Current() {
    if (_section.Bytes().empty() && !_section.Open(_name)) return 0;
    // It is only read; the standard library's type knows no other use than both.
    auto& word = *reinterpret_cast<uint64_t*>(const_cast<unsigned char*>(_section.Bytes().data()));
    return std::atomic_ref(word).load(std::memory_order_acquire);
  }

 private:
  const KxWString _name;
  CkxSharedMemoryView _section;
};

class CkxEventNoticeWaiter : public IkxNoticeWaiter {
 public:
  explicit CkxEventNoticeWaiter(CkxTextView name)
      : _name(name.ToString()),
        _stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        _turn(_name),
        _known(_turn.Current()) {
    SeekEvent();
  }

  bool IsOpen() const { return static_cast<bool>(_stop); }

  EkxNoticeWait Wait() override {
    if (IsHeldUp()) return WaitHeldUp();
    for (;;) {
      if (!_event) SeekEvent();
      const uint64_t turn = _turn.Current();
      if (turn != _known) return Told(false);
      const CkxHandle over = turn == 0 ? CkxHandle() : OpenAgentsEvent(EventName(_name, turn), SYNCHRONIZE);
      if (_turn.Current() != turn) continue;
      HANDLE handles[3] = {_stop.Get()};
      DWORD count = 1;
      if (over) handles[count++] = over.Get();
      if (_event) handles[count++] = _event.Get();
      const DWORD result = WaitForMultipleObjects(count, handles, FALSE, LookAgainAfter(static_cast<bool>(over)));
      if (result == WAIT_OBJECT_0) return EkxNoticeWait::Stopped;
      if (result < WAIT_OBJECT_0 + count) return Told(handles[result - WAIT_OBJECT_0] == _event.Get());
      if (result != WAIT_TIMEOUT) return EkxNoticeWait::Failed;
    }
  }

  void Stop() override { SetEvent(_stop.Get()); }

 private:
  /// One that is somebody else's is refused once and for all: whoever holds it keeps it.
  void SeekEvent() {
    if (_eventRefused) return;
    _event = MakesAgentsObjects() ? MakeEvent(_name, SYNCHRONIZE) : OpenAgentsEvent(_name, SYNCHRONIZE);
    _eventRefused = !_event && GetLastError() == ERROR_ACCESS_DENIED;
  }

  DWORD LookAgainAfter(bool turnTells) const {
    if (turnTells) return _event ? INFINITE : kLookAgainMs;
    return _event ? kLookAgainMs : kNotThereYetMs;
  }

  EkxNoticeWait Told(bool byEvent) {
    _known = _turn.Current();
    _toldByEvent = byEvent;
    return EkxNoticeWait::Told;
  }

  /// Somebody who knows nothing of turns has set the event and left it so, or has set it again.
  bool IsHeldUp() {
    return _toldByEvent && _event && WaitForSingleObject(_event.Get(), 0) == WAIT_OBJECT_0 && _turn.Current() == _known;
  }
  EkxNoticeWait WaitHeldUp() {
    return WaitForSingleObject(_stop.Get(), kHeldUpMs) == WAIT_OBJECT_0 ? EkxNoticeWait::Stopped : Told(true);
  }

  const KxWString _name;
  CkxHandle _event;  // none while there is none, or it is somebody else's
  bool _eventRefused = false;
  const CkxHandle _stop;
  CkxTurn _turn;
  uint64_t _known;
  bool _toldByEvent = false;
};

}  // namespace

struct CkxNoticeSender::State {
  explicit State(CkxTextView text) : name(text.ToString()) {}

  const KxWString name;
  CkxHandle event;
  CkxHandle over;  // of the turn that is on
  CkxSharedMemoryPublication turn;

  /// A turn that nobody can have made an event for.
  uint64_t NewTurn(CkxHandle& made) const {
    std::random_device random;
    const uint64_t next = (uint64_t{random()} << 32 | random()) | 1;
    made = MakeEvent(EventName(name, next), EVENT_MODIFY_STATE);
    return next;
  }

  bool Begin(const KxWString& section, uint64_t next) {
    unsigned char bytes[sizeof(next)];
    std::memcpy(bytes, &next, sizeof(next));
    return turn.Publish(section, bytes);
  }
};

CkxNoticeSender::CkxNoticeSender(CkxTextView name) : _state(std::make_unique<State>(name)) {}
CkxNoticeSender::~CkxNoticeSender() = default;

bool CkxNoticeSender::Signal() {
  if (!KxSharedMemory_IsName(_state->name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  // Without the event, those who know of turns are told all the same.
  if (!_state->event) _state->event = MakeEvent(_state->name, EVENT_MODIFY_STATE);
  const uint32_t eventError = KxLastError_Get();
  CkxTurn turn(_state->name);
  const uint64_t past = turn.Current();  // another sender's, if it is gone and a waiter has kept it
  CkxHandle over;
  const uint64_t next = _state->NewTurn(over);
  const bool hasTurn = over && _state->Begin(turn.SectionName(), next);  // not where somebody else holds its name

  // The event first: a waiter that it ends knows the new turn, and is not told of it again.
  const bool told = _state->event && SetEvent(_state->event.Get()) && ResetEvent(_state->event.Get());
  const CkxHandle pastOver(past == 0 ? nullptr
                                     : OpenEventW(EVENT_MODIFY_STATE, FALSE, EventName(_state->name, past).c_str()));
  if (pastOver) SetEvent(pastOver.Get());
  if (hasTurn) _state->over = std::move(over);
  if (!_state->event) KxLastError_Set(eventError);
  return told && hasTurn;
}

void CkxNoticeSender::Withdraw() {
  Signal();
  _state->turn.Remove();
  _state->over.Close();
  _state->event.Close();
}

std::unique_ptr<IkxNoticeWaiter> KxNotice_OpenWaiter(CkxTextView name) {
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return nullptr;
  }
  auto waiter = std::make_unique<CkxEventNoticeWaiter>(name);
  if (!waiter->IsOpen()) return nullptr;
  return waiter;
}
