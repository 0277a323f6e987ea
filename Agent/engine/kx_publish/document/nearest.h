// The word that somebody may have meant: `; did you mean "block"?` behind a message about "blok".
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The candidate that is one slip in three letters away at most (a letter too many, too few, another, or two that have
/// changed places; letters of either case are the same), the nearest and of those the first; else empty. A GUID is near
/// to nothing: one digit off it is the id of something else. Without one so near, the candidate that says what the word
/// says elsewhere: "run" to who writes "allow". Texts are UTF-8 and compared by bytes.
std::string_view KxNearest(std::string_view word, std::span<const std::string> candidates);

/// `; did you mean "block"?`, or nothing.
std::string KxNearest_Question(std::string_view word, std::span<const std::string> candidates);

/// The same of the rows of a table; `nameOf` is a row's member or a function of it.
template <class Rows, class NameOf>
std::string KxNearest_QuestionOf(std::string_view word, const Rows& rows, NameOf nameOf) {
  std::vector<std::string> names;
  names.reserve(std::size(rows));
  for (const auto& row : rows) names.emplace_back(std::invoke(nameOf, row));
  return KxNearest_Question(word, names);
}
