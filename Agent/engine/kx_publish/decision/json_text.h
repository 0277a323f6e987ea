// JSON written as text, for streams of answers: building a value of each answer first takes longer than the answer. The
// bytes are those that the value would print as.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A comma and the member's name; what comes next is its value. `name` needs no escapes.
void KxJsonText_AddKey(std::string& json, std::string_view name);

/// `utf8` must be well-formed.
void KxJsonText_AddText(std::string& json, std::string_view utf8);

/// Of a text that need not be, such as a file's name: what is no UTF-8 becomes U+FFFD.
void KxJsonText_AddAnyText(std::string& json, const std::string& text);
void KxJsonText_AddNumber(std::string& json, int64_t number);
void KxJsonText_AddBool(std::string& json, bool value);
