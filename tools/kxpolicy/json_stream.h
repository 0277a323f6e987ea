// Verbs that answer a stream: a request a line, and for each a line, in order, with the request's id.
#pragma once

#include <functional>
#include <string>

#include "tools/kxpolicy/tool.h"

class CkxJsonObject;

/// Asks for what it needs of a request and gives the members of the answer behind "id", without braces. Throws
/// CkxDocumentFault for what is no request; a member that it has not asked for makes the line none either.
using KxStreamAnswer = std::function<std::string(CkxJsonObject& request)>;

/// A line that is no request is answered with what is wrong with it, the stream goes on, and the exit code is that of
/// unusable input.
EkxExit KxJsonStream_Run(std::istream& in, SkxStreams& streams, const KxStreamAnswer& answer);
