// The agent's settings and the texts of its messages: documents that active configuration policies carry.
//
//   <Configuration><Server><Port secure="true">443</Port></Server></Configuration>        key "Server/Port"
//   <Messages><Message id="Blocked" lang="en">%1 is blocked on &lt;$HOSTNAME&gt;</Message></Messages>
//
//   int port = 443;
//   CkxSharedConfig::GetConfigValue(KXW("Server/Port"), port, token);   // stays 443 when it is not set
//
// A key is a path of element names below the root, each of them the first of its name. The first active policy, in the
// order of the section, whose document has the key or the message is the one that counts, whoever the user is. A
// document that cannot be read is silent. Documents of one publication are parsed once and remembered.
//
// False is "not found", with out values untouched, or that nobody could be asked: then `KxUtil_LastFault` says why.
//
// Threads. All of these may be called at once, from any thread.
//
// The members live in Agent/engine/kx_util/store: shared_configuration.cpp has the settings, shared_messages.cpp the
// messages.
#pragma once

#include <memory>
#include <vector>

#include "Common_CPP/util/bstr.h"
#include "Common_CPP/util/owned_str.h"

/// A setting as its document has it.
struct SkxConfigSetting {
  /// An attribute of the element, with its value.
  struct Attribute {
    KxWString name;
    KxWString value;
  };
  KxWString key;
  KxWString value;
  std::vector<Attribute> attributes;
  uint32_t policyId = 0;    ///< the policy that carries it
  bool isShadowed = false;  ///< no look-up gives it: another one stands before it under its key
};

/// False ends the enumeration. Must not throw.
using KxConfigSettingCallback = bool (*)(const SkxConfigSetting& setting, void* context);

/// The settings and messages of the policies in force.
class KX_UTIL_API CkxSharedConfig {
 public:
  // --- settings ---

  /// The text as it stands, empty where the element has none. The caller frees it (`KxBstr_Free`).
  static bool GetConfigValue(const WCHAR* key, KxBstr& value, void* token);

  /// The number that the text begins with, behind blanks and a sign: 0 when it begins with none, the nearest one when
  /// it is out of range; of one without a sign 0 for a negative text.
  static bool GetConfigValue(const WCHAR* key, int& value, void* token);
  static bool GetConfigValue(const WCHAR* key, KxULong& value, void* token);
  static bool GetConfigValue(const WCHAR* key, uint64_t& value, void* token);
  static bool GetConfigValue(const WCHAR* key, int64_t& value, void* token);

  /// "true" or "1", "false" or "0", in letters of any case. Any other text fails, with a line of the trace.
  static bool GetConfigValue(const WCHAR* key, bool& value, void* token);

  /// The text, and of the same element the attribute of that name: null when it has none, else the caller's to free.
  static bool GetConfigValueAndAttribute(const WCHAR* key, KxBstr& value, const WCHAR* attribute,
                                         KxBstr& attributeValue, void* token);

  /// The same with everything that is known of it.
  static bool GetSetting(const WCHAR* key, SkxConfigSetting& setting, void* token);

  /// Each element with a text, in the order of policies and documents.
  static bool EnumSettings(KxConfigSettingCallback callback, void* context, void* token);

  // --- messages ---
  //
  // Of several texts with an id the one in the user's language, else in that language of any country, else the first.
  // "%1" and "%2" are where `first` and `second` go, and go away where there is none; "%%" is a percent sign, and any
  // other stands for itself. "<$HOSTNAME>" is where the computer's name goes, from the second text on that a process
  // asks for: the first asks for the name, and keeps the mark unless the system does not tell.

  /// False where no policy has a text with that id.
  static bool GetMessageW(const char* id, CkxUtilStr& text);
  static bool GetMessageW(const char* id, const WCHAR* first, CkxUtilStr& text);
  static bool GetMessageW(const char* id, const WCHAR* first, const WCHAR* second, CkxUtilStr& text);

  /// The text with "%1", "%2" and "%%" as they stand.
  static bool GetMessageById(const char* id, CkxUtilStr& text);

  /// The first document of messages that is not empty, as it stands.
  static bool LoadMessages(CkxUtilStr& text, void* token);

  /// Forgets the messages that are remembered. The computer's name stays.
  static void ResetMessageFormat();
};

/// While it lives, messages that this thread asks for are those of a process of its own, for a user of `language` on a
/// computer called `host`; null for what this machine says.
class KX_UTIL_API CkxMessageScope {
 public:
  CkxMessageScope(const WCHAR* language, const WCHAR* host);
  ~CkxMessageScope();
  CkxMessageScope(const CkxMessageScope&) = delete;
  CkxMessageScope& operator=(const CkxMessageScope&) = delete;

 private:
  struct State;
  const std::unique_ptr<State> _state;
};
