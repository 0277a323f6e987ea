#include "Agent/engine/kx_publish/document/json_place.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <string>

namespace {

/// Steps over a text that was read as JSON once, or as far as a reader came.
class Walker {
 public:
  explicit Walker(std::string_view text, size_t at = 0) : _text(text), _at(at) {}

  size_t At() const { return _at; }
  bool IsAt(char unit) {
    SkipSpace();
    return _at < _text.size() && _text[_at] == unit;
  }
  bool Take(char unit) {
    const bool isThere = IsAt(unit);
    if (isThere) ++_at;
    return isThere;
  }

  /// The text between quotes, as it is meant.
  std::optional<std::string> TakeKey() {
    SkipSpace();
    const size_t begin = _at;
    if (!SkipString()) return std::nullopt;
    const nlohmann::json key = nlohmann::json::parse(_text.substr(begin, _at - begin), nullptr, false);
    return key.is_string() ? std::optional(key.get<std::string>()) : std::nullopt;
  }

  /// Over a whole value, by its brackets alone.
  bool SkipValue() {
    size_t depth = 0;
    do {
      SkipSpace();
      if (_at >= _text.size()) return false;
      const char unit = _text[_at];
      if (unit == '"') {
        if (!SkipString()) return false;
      } else if (unit == '{' || unit == '[') {
        ++depth;
        ++_at;
      } else if (unit == '}' || unit == ']') {
        if (depth-- == 0) return false;
        ++_at;
      } else if (unit == ',' || unit == ':') {
        if (depth == 0) return false;
        ++_at;
      } else {
        _at = std::min(_text.find_first_of(" \t\r\n,:]}/\"", _at + 1), _text.size());
      }
    } while (depth != 0);
    return true;
  }

 private:
  void SkipSpace() {
    for (;;) {
      _at = std::min(_text.find_first_not_of(" \t\r\n", _at), _text.size());
      const std::string_view rest = _text.substr(_at);
      if (rest.starts_with("//")) {
        _at = std::min(_text.find('\n', _at), _text.size());
      } else if (rest.starts_with("/*")) {
        const size_t end = _text.find("*/", _at + 2);
        _at = end == _text.npos ? _text.size() : end + 2;
      } else {
        return;
      }
    }
  }

  bool SkipString() {
    if (_at >= _text.size() || _text[_at] != '"') return false;
    for (++_at; _at < _text.size(); ++_at) {
      if (_text[_at] == '"') return ++_at, true;
      if (_text[_at] == '\\') ++_at;
    }
    return false;
  }

  std::string_view _text;
  size_t _at;
};

std::string Unescaped(std::string_view part) {
  std::string key;
  for (size_t i = 0; i < part.size(); ++i) {
    const bool isEscape = part[i] == '~' && i + 1 < part.size();
    key += isEscape ? (part[++i] == '1' ? '/' : '~') : part[i];
  }
  return key;
}

/// Into the member of that key; `place` is where its key stands.
bool EnterMember(Walker& walker, const std::string& wanted, size_t& place) {
  if (!walker.Take('{')) return false;
  while (walker.IsAt('"')) {
    place = walker.At();
    const std::optional<std::string> key = walker.TakeKey();
    if (!key || !walker.Take(':')) return false;
    if (*key == wanted) return true;
    if (!walker.SkipValue() || !walker.Take(',')) return false;
  }
  return false;
}

std::optional<size_t> AsIndex(const std::string& part) {
  if (part.empty() || part.size() > 18 || part.find_first_not_of("0123456789") != part.npos) return std::nullopt;
  return std::stoull(part);
}

bool EnterElement(Walker& walker, const std::string& wanted, size_t& place) {
  const std::optional<size_t> index = AsIndex(wanted);
  if (!index || !walker.Take('[')) return false;
  for (size_t left = *index; left != 0; --left) {
    if (!walker.SkipValue() || !walker.Take(',')) return false;
  }
  const bool isEnd = walker.IsAt(']');
  place = walker.At();
  return !isEnd;
}

/// The beginnings of the elements of the list that comes next; behind them the walker stands where it ends.
std::vector<size_t> TakeElements(Walker& walker) {
  std::vector<size_t> elements;
  walker.Take('[');
  while (!walker.IsAt(']')) {
    elements.push_back(walker.At());
    if (!walker.SkipValue() || !walker.Take(',')) break;
  }
  walker.Take(']');
  return elements;
}

/// Takes the first part, without its slash, off a pointer.
std::string TakePart(std::string_view& pointer) {
  pointer.remove_prefix(1);
  std::string part = Unescaped(pointer.substr(0, pointer.find('/')));
  pointer.remove_prefix(std::min(pointer.find('/'), pointer.size()));
  return part;
}

}  // namespace

CkxJsonPlaces::CkxJsonPlaces(std::string_view text) : _text(text), _lines{0} {
  for (size_t end = 0; (end = text.find('\n', end)) != text.npos;) _lines.push_back(++end);
  Walker walker(text);
  if (!walker.Take('{')) return;
  while (walker.IsAt('"')) {
    const std::optional<std::string> key = walker.TakeKey();
    if (!key || !walker.Take(':')) return;
    if (walker.IsAt('[')) {
      _lists.try_emplace(*key, TakeElements(walker));
    } else if (!walker.SkipValue()) {
      return;
    }
    if (!walker.Take(',')) return;
  }
}

std::optional<SkxTextPlace> CkxJsonPlaces::Of(std::string_view pointer) const {
  Walker walker(_text);
  walker.IsAt('{');  // whatever it is, comments before it are passed
  size_t place = walker.At();
  if (std::string_view rest = pointer; std::count(rest.begin(), rest.end(), '/') >= 2) {
    const auto list = _lists.find(TakePart(rest));
    const std::optional<size_t> index = AsIndex(TakePart(rest));
    if (list != _lists.end() && index && *index < list->second.size()) {
      place = list->second[*index];
      walker = Walker(_text, place);
      pointer = rest;
    }
  }
  while (!pointer.empty()) {
    const std::string part = TakePart(pointer);
    const bool isIn = walker.IsAt('[') ? EnterElement(walker, part, place) : EnterMember(walker, part, place);
    if (!isIn) return std::nullopt;
  }
  return At(place);
}

SkxTextPlace CkxJsonPlaces::At(size_t offset) const {
  const auto next = std::upper_bound(_lines.begin(), _lines.end(), offset);
  return {static_cast<size_t>(next - _lines.begin()), offset - *std::prev(next) + 1};
}

std::optional<SkxTextPlace> KxTextPlace_TakeFrom(std::string& message) {
  SkxTextPlace place;
  std::string_view rest = message;
  const auto take = [&rest](std::string_view word, size_t& number) {
    if (!rest.starts_with(word)) return false;
    rest.remove_prefix(word.size());
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    rest.remove_prefix(static_cast<size_t>(end - rest.data()));
    return error == std::errc();
  };
  if (!take("line ", place.line) || !take(", column ", place.column) || !rest.starts_with(": ")) return std::nullopt;
  message = std::string(rest.substr(2));
  return place;
}
