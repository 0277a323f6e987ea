// What the documents of a configuration policy say, in a form that is asked without parsing again and never changes.
#pragma once

#include <kx_util/shared_policy_kinds.h>

#include <optional>
#include <string_view>
#include <vector>

#include "Common_CPP/xml/xml_tree.h"

/// Settings: elements by their path below the root "Configuration".
class CkxSettingsDocument {
 public:
  static CkxTextView TextOf(const CkxShBufPolicyConfiguration& policy) { return policy.ConfigurationXmlView(); }
  static std::optional<CkxSettingsDocument> Parse(CkxTextView text);

  /// The first child of that name of the first child of that name and so on; null where a name of the path is missing
  /// or empty.
  const SkxXmlNode* Find(CkxTextView key) const;

  const SkxXmlNode& Root() const { return _root; }

 private:
  explicit CkxSettingsDocument(SkxXmlNode root) : _root(std::move(root)) {}

  SkxXmlNode _root;
};

/// The first child element of that name, or null.
const SkxXmlNode* KxSettings_Child(const SkxXmlNode& parent, CkxTextView name);

/// Texts of messages: elements "Message" with the attributes "id" and "lang" below the root "Messages".
class CkxMessagesDocument {
 public:
  static CkxTextView TextOf(const CkxShBufPolicyConfiguration& policy) { return policy.MessagesXmlView(); }
  static std::optional<CkxMessagesDocument> Parse(CkxTextView text);

  /// The text with that id that suits `language` ("de-CH") best: in it, else in its primary part ("de"), else the
  /// first. Null when there is none of that id.
  const KxWString* Find(CkxTextView id, CkxTextView language) const;

 private:
  struct Message {
    KxWString id;
    KxWString language;
    KxWString text;
  };
  std::vector<Message> _messages;
};
