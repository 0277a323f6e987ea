#include "Agent/engine/kx_util/store/configuration_documents.h"

#include <algorithm>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr SkxXmlLimits kConfigurationLimits = {.bytes = size_t{4} << 20, .depth = 64};

std::optional<SkxXmlNode> ParseRoot(CkxTextView text, CkxTextView root) {
  if (text.IsEmpty() || !KxWork_Spend(text.Size())) return std::nullopt;
  std::optional<SkxXmlNode> node = KxXmlTree_Parse(text, kConfigurationLimits);
  return node && KxText_Equals(node->name, root, true) ? std::move(node) : std::nullopt;
}

/// "de" of "de-CH".
CkxTextView PrimaryLanguage(CkxTextView language) { return language.Part(0, KxText_FindUnit(language, KXW('-'))); }

}  // namespace

const SkxXmlNode* KxSettings_Child(const SkxXmlNode& parent, CkxTextView name) {
  const auto found = std::find_if(parent.children.begin(), parent.children.end(),
                                  [name](const SkxXmlNode& child) { return KxText_Equals(child.name, name, true); });
  if (!KxWork_Spend(static_cast<uint64_t>(found - parent.children.begin()) + 1)) return nullptr;
  return found != parent.children.end() ? &*found : nullptr;
}

std::optional<CkxSettingsDocument> CkxSettingsDocument::Parse(CkxTextView text) {
  std::optional<SkxXmlNode> root = ParseRoot(text, KXW("Configuration"));
  return root ? std::optional(CkxSettingsDocument(*std::move(root))) : std::nullopt;
}

const SkxXmlNode* CkxSettingsDocument::Find(CkxTextView key) const {
  const SkxXmlNode* node = &_root;
  for (bool isLast = false; !isLast && node != nullptr;) {
    const size_t end = KxText_FindUnit(key, KXW('/'));
    isLast = end == CkxTextView::npos;
    node = KxSettings_Child(*node, key.Part(0, end));
    if (!isLast) key = key.Part(end + 1);
  }
  return node;
}

std::optional<CkxMessagesDocument> CkxMessagesDocument::Parse(CkxTextView text) {
  std::optional<SkxXmlNode> root = ParseRoot(text, KXW("Messages"));
  if (!root) return std::nullopt;
  CkxMessagesDocument document;
  for (SkxXmlNode& node : root->children) {
    const KxWString* const id = node.Attribute(KXW("id"));
    if (id == nullptr || !KxText_Equals(node.name, KXW("Message"), true)) continue;
    const KxWString* const language = node.Attribute(KXW("lang"));
    document._messages.push_back({*id, language != nullptr ? *language : KxWString(), std::move(node.text)});
  }
  return document;
}

const KxWString* CkxMessagesDocument::Find(CkxTextView id, CkxTextView language) const {
  const Message* first = nullptr;
  const Message* primary = nullptr;
  for (const Message& message : _messages) {
    if (!KxText_Equals(message.id, id, true)) continue;
    if (!language.IsEmpty() && KxText_Equals(message.language, language, false)) return &message.text;
    if (first == nullptr) first = &message;
    const bool isPrimary = !language.IsEmpty() && KxText_Equals(message.language, PrimaryLanguage(language), false);
    if (isPrimary && primary == nullptr) primary = &message;
  }
  const Message* const found = primary != nullptr ? primary : first;
  return found != nullptr ? &found->text : nullptr;
}
