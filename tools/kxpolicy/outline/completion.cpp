#include "tools/kxpolicy/outline/completion.h"

#include <algorithm>
#include <set>

namespace {

using Candidates = std::vector<SkxCandidate>;

bool IsOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

/// The words so far, as the parser takes them: where they lead to, and what is still open there.
class Words {
 public:
  explicit Words(const SkxVerbOutline& command) : _command(&command), _verb(&command) {}

  void Read(const std::string& word) {
    if (!_isPlacesOnly && word == "--") {
      _isPlacesOnly = true;
      _open = nullptr;
    } else if (!_isPlacesOnly && IsOption(word)) {
      Open(word);
    } else if (_open != nullptr) {
      _hasValue = true;
      if (!_open->isRepeated) _open = nullptr;
    } else if (!_verb->verbs.empty()) {
      Enter(word);
    } else {
      ++_places;
    }
  }

  Candidates Next(const std::string& typed) const {
    if (_isLost) return {};
    if (_open != nullptr && !_hasValue) return ValuesOf(*_open);
    if (!_isPlacesOnly && typed.starts_with('-')) {
      return typed.find('=') == std::string::npos ? Options() : ValuesBehindName(typed);
    }
    Candidates next = AtThisPlace();
    if (_open != nullptr) Add(ValuesOf(*_open), next);
    return next.empty() && !_isPlacesOnly ? Options() : next;
  }

 private:
  static void Add(const Candidates& more, Candidates& all) { all.insert(all.end(), more.begin(), more.end()); }

  static Candidates ValuesOf(const SkxOptionOutline& option) {
    Candidates all;
    for (const std::string& value : option.values) all.push_back({value, ""});
    if (option.value == kKxFolderValue) all.push_back({std::string(kKxAnyFolder), ""});
    if (option.value == kKxFileValue || option.value == kKxPathValue) all.push_back({std::string(kKxAnyFile), ""});
    return all;
  }

  void Enter(const std::string& word) {
    const auto verb =
        std::find_if(_verb->verbs.begin(), _verb->verbs.end(), [&](auto& each) { return each.name == word; });
    if (verb == _verb->verbs.end()) {
      _isLost = true;
    } else {
      _verb = &*verb;
    }
  }

  /// "--name" or "--name=value".
  void Open(const std::string& word) {
    const SkxOptionOutline* const option = Find(word.substr(0, word.find('=')));
    const bool takesNext = option != nullptr && !option->value.empty() && word.find('=') == std::string::npos;
    _open = takesNext ? option : nullptr;
    _hasValue = false;
    _given.insert(option);
  }

  /// Those of the verb, and those that the command has for all of them.
  std::vector<const SkxOptionOutline*> Named() const {
    std::vector<const SkxOptionOutline*> named;
    for (const SkxVerbOutline* level : {_verb, _command}) {
      for (const SkxOptionOutline& option : level->options) {
        const bool isTwice =
            std::any_of(named.begin(), named.end(), [&](auto* has) { return has->names == option.names; });
        if (!option.isPlaced && !isTwice) named.push_back(&option);
      }
    }
    return named;
  }

  const SkxOptionOutline* Find(const std::string& name) const {
    for (const SkxOptionOutline* const option : Named()) {
      if (std::find(option->names.begin(), option->names.end(), name) != option->names.end()) return option;
    }
    return nullptr;
  }

  /// It cannot be given (again).
  bool IsSettled(const SkxOptionOutline& option) const {
    return std::any_of(_given.begin(), _given.end(), [&](const SkxOptionOutline* given) {
      if (given == &option) return !option.isRepeated;
      return given != nullptr && !option.choice.empty() && given->choice == option.choice;
    });
  }

  Candidates Options() const {
    Candidates all;
    for (const SkxOptionOutline* const option : Named()) {
      if (IsSettled(*option)) continue;
      for (const std::string& name : option->names) all.push_back({name, option->help});
      if (!option->value.empty()) continue;
      for (const std::string& value : option->values) all.push_back({option->names.back() + "=" + value, option->help});
    }
    return all;
  }

  Candidates ValuesBehindName(const std::string& typed) const {
    const std::string name = typed.substr(0, typed.find('='));
    const SkxOptionOutline* const option = Find(name);
    Candidates all = option == nullptr ? Candidates() : ValuesOf(*option);
    for (SkxCandidate& each : all) {
      if (!each.text.starts_with(':')) each.text.insert(0, name + "=");
    }
    return all;
  }

  Candidates AtThisPlace() const {
    Candidates all;
    for (const SkxVerbOutline& verb : _verb->verbs) all.push_back({verb.name, verb.summary});
    size_t place = 0;
    for (const SkxOptionOutline& option : _verb->options) {
      if (!option.isPlaced) continue;
      if (place == _places || (place < _places && option.isRepeated)) Add(ValuesOf(option), all);
      ++place;
    }
    return all;
  }

  const SkxVerbOutline* _command;
  const SkxVerbOutline* _verb;
  const SkxOptionOutline* _open = nullptr;  ///< the last option, as long as it may take another word
  bool _hasValue = false;                   ///< whether it has had one
  std::set<const SkxOptionOutline*> _given;
  size_t _places = 0;          ///< how many values that are told by their place there are
  bool _isPlacesOnly = false;  ///< behind "--"
  bool _isLost = false;        ///< behind what is no verb
};

}  // namespace

std::vector<SkxCandidate> KxCompletion_Of(const SkxVerbOutline& command, std::span<const std::string> before,
                                          const std::string& typed) {
  Words words(command);
  for (const std::string& word : before) words.Read(word);
  Candidates next = words.Next(typed);
  std::erase_if(next,
                [&](const SkxCandidate& each) { return !each.text.starts_with(':') && !each.text.starts_with(typed); });
  return next;
}
