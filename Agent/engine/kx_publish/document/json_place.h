// Where in its text a value of a JSON document stands, for people and their editors.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Both from 1; columns are bytes.
struct SkxTextPlace {
  size_t line = 1;
  size_t column = 1;
};

/// Takes "line 2, column 16: ", with which a fault of syntax begins, off its message; nothing off any other.
std::optional<SkxTextPlace> KxTextPlace_TakeFrom(std::string& message);

/// The places of one text, which outlives this. It may have comments.
class CkxJsonPlaces {
 public:
  explicit CkxJsonPlaces(std::string_view text);

  /// Of the value that `pointer` (a JSON pointer) leads to: of its key, where it has one. Nothing where the text ends,
  /// or is no JSON, before that.
  std::optional<SkxTextPlace> Of(std::string_view pointer) const;

 private:
  SkxTextPlace At(size_t offset) const;

  std::string_view _text;
  std::vector<size_t> _lines;  // where each begins

  // Where each element of a list begins that the document has under a key. Documents are a few long lists, and who asks
  // for one place asks for many.
  std::map<std::string, std::vector<size_t>> _lists;
};
