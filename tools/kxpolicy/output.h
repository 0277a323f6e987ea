// Where verbs write a document that they have made: a file, whole or not at all, or standard output under the name "-".
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct SkxStreams;

/// Refused where what is at `place` is no file; unusable arguments where it is one of those that are read: nobody's
/// policies are lost to a name that was meant for something else.
void KxOutput_CheckPlace(const std::string& place, const std::vector<std::string>& read);

/// The system refuses where it cannot be written; what was there is there still.
void KxOutput_Write(const std::string& place, std::string_view text, SkxStreams& streams);

/// "policies.json: 3 policies", unless the document itself is on standard output.
void KxOutput_Tell(const std::string& place, const std::string& made, SkxStreams& streams);
