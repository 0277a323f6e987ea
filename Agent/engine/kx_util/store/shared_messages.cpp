// The texts of messages: found in the documents of configuration policies, and put together.
#include <kx_util/shared_configuration.h>

#include <mutex>

#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/host_name.h"
#include "Common_CPP/util/text.h"

namespace {

const WCHAR* const kHostMark = KXW("<$HOSTNAME>");

/// The computer's name, kept from the first text on that asks for it.
class KeptHostName {
 public:
  /// What goes in the place of the mark; nothing when the mark stays. That is so for the text for which the system told
  /// the name: those who rely on the first text of a process know it with its mark.
  template <class Ask>
  std::optional<KxWString> ForNextText(Ask ask) {
    const std::lock_guard lock(_mutex);
    if (!_name.empty()) return _name;
    std::optional<KxWString> told = ask();
    if (!told || told->size() >= kKxHostNameUnits) return KxWString();
    _name = *std::move(told);
    return std::nullopt;
  }

 private:
  std::mutex _mutex;
  KxWString _name;
};

/// For whom texts are made, where.
struct MessageReader {
  std::optional<KxWString> language;  ///< nothing: the one that this machine's user reads
  std::optional<KxWString> host;      ///< nothing: this machine
  KeptHostName keptName;

  KxWString Language() const { return language ? *language : KxHost_UserLanguage(); }
  std::optional<KxWString> HostForNextText() {
    return keptName.ForNextText([this] { return host ? host : KxHost_NetBiosName(); });
  }
};

/// The innermost scope's of this thread; null: the process's own.
const CkxThreadPointer<MessageReader>& ReaderOfScope() {
  static const CkxThreadPointer<MessageReader> reader;
  return reader;
}

MessageReader& CurrentReader() {
  // Never destroyed: at the end of a process its other threads may still ask.
  static auto* const ofProcess = std::make_unique<MessageReader>().release();
  MessageReader* const ofScope = ReaderOfScope().Get();
  return ofScope != nullptr ? *ofScope : *ofProcess;
}

/// What is put into a text beside the name of the computer.
struct MessagePieces {
  CkxTextView first = {};
  CkxTextView second = {};
  bool areInserted = true;  ///< else "%" stands for itself, whatever comes behind
};

/// In one go, so that what is inserted is not looked at again. Without `host` its mark stays.
KxWString MessageText(CkxTextView format, const std::optional<KxWString>& host, const MessagePieces& pieces) {
  KxWString text;
  for (CkxTextView left = format; !left.IsEmpty();) {
    const WCHAR mark = pieces.areInserted && left.Front() == KXW('%') && left.Size() > 1 ? left[1] : WCHAR{};
    size_t taken = 1;
    if (mark == KXW('1') || mark == KXW('2')) {
      text += (mark == KXW('1') ? pieces.first : pieces.second).ToString();
      taken = 2;
    } else if (mark == KXW('%')) {
      text += mark;
      taken = 2;
    } else if (host && KxText_StartsWith(left, kHostMark, true)) {
      text += *host;
      taken = CkxTextView(kHostMark).Size();
    } else {
      text += left.Front();
    }
    left = left.Part(taken);
  }
  return text;
}

bool FindMessage(const char* id, const MessagePieces& pieces, CkxUtilStr& text) {
  return KxEntry(false, [&] {
    const std::optional<KxWString> wanted = id != nullptr ? KxText_FromUtf8(id) : std::nullopt;
    if (!wanted || wanted->empty()) return false;
    MessageReader& reader = CurrentReader();
    const KxWString language = reader.Language();
    KxWString format;
    const auto isFound = [&](uint32_t, const CkxMessagesDocument& document) {
      const KxWString* const found = document.Find(*wanted, language);
      if (found != nullptr) format = *found;
      return found != nullptr;
    };
    if (!KxConfiguration_Search<CkxMessagesDocument>(nullptr, isFound)) return false;
    text = CkxUtilStr(MessageText(format, reader.HostForNextText(), pieces));
    return true;
  });
}

}  // namespace

bool CkxSharedConfig::GetMessageW(const char* id, CkxUtilStr& text) { return FindMessage(id, {}, text); }
bool CkxSharedConfig::GetMessageW(const char* id, const WCHAR* first, CkxUtilStr& text) {
  return FindMessage(id, {.first = first}, text);
}
bool CkxSharedConfig::GetMessageW(const char* id, const WCHAR* first, const WCHAR* second, CkxUtilStr& text) {
  return FindMessage(id, {.first = first, .second = second}, text);
}
bool CkxSharedConfig::GetMessageById(const char* id, CkxUtilStr& text) {
  return FindMessage(id, {.areInserted = false}, text);
}

bool CkxSharedConfig::LoadMessages(CkxUtilStr& text, void* token) {
  return KxEntry(false, [&] {
    CkxUtilStr found;
    const bool walked = KxConfiguration_Walk(token, [&](const CkxShBufPolicyConfiguration& policy) {
      found = CkxUtilStr(CkxMessagesDocument::TextOf(policy));
      return found.IsEmpty();
    });
    if (!walked || found.IsEmpty() || KxFault_Current() != EkxEvaluationFault::None) return false;
    text = std::move(found);
    return true;
  });
}

void CkxSharedConfig::ResetMessageFormat() {
  KxEntry([] { CkxConfigurationCache<CkxMessagesDocument>::Instance().Drop(); });
}

struct CkxMessageScope::State {
  MessageReader reader;
  std::optional<CkxThreadPointer<MessageReader>::Scope> scope;
};

CkxMessageScope::CkxMessageScope(const WCHAR* language, const WCHAR* host) : _state(std::make_unique<State>()) {
  if (language != nullptr) _state->reader.language = language;
  if (host != nullptr) _state->reader.host = host;
  _state->scope.emplace(ReaderOfScope(), &_state->reader);
}
CkxMessageScope::~CkxMessageScope() = default;
