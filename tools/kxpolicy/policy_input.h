// The policies that a verb is about, as its arguments name them: DIR, the folder of an image, or DOC..., policy
// documents that make one publication together. What is a folder is an image, anything else is a document, "-" being
// standard input.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/policy_set.h"

/// How a verb's help calls that argument.
inline constexpr const char* kKxPolicyInputHelp =
    "Folder of a compiled image, or policy documents, which make one together; - for standard input";

/// Whether `inputs` is one folder. An image and something else besides are unusable arguments: neither could be meant
/// to change the other.
bool KxPolicyInput_IsImage(const std::vector<std::string>& inputs);

/// The texts of documents. One that cannot be read is unusable input.
std::vector<SkxDocumentText> KxPolicyInput_Texts(const std::vector<std::string>& documents,
                                                 std::istream& standardInput);

/// "FILE:LINE:COLUMN: POINTER: ..." of a fault in one of `texts`, as editors look for it; without the place where the
/// document as a whole is meant.
std::string KxPolicyInput_FaultLine(const std::vector<SkxDocumentText>& texts, const SkxDocumentError& fault);

/// A fault in a line of a stream of documents, one a line, as a person is told it.
struct SkxLineFault {
  SkxLineFault(const std::string& stream, size_t line, const CkxDocumentFault& fault);
  std::string Text() const { return place + ": " + what; }

  std::string place;  ///< "FILE:LINE", with ":COLUMN" where that is no JSON
  std::string what;   ///< "POINTER: ..."
};

/// Either. What cannot be read, and a document that is at fault, is unusable input.
CkxPolicySet KxPolicyInput_Open(const std::vector<std::string>& inputs, std::istream& standardInput);

/// What their author called things. A line on `err` where that is there and cannot be read: ids stand for names then,
/// and the policies are the same.
CkxAuthorNames KxPolicyInput_Names(const CkxPolicySet& set, std::ostream& err);

/// A line on `err` for each of `faults`, "policies.sec: byte 4: ...", with the place that the file has in `set`.
void KxPolicyInput_TellFaults(const CkxPolicySet& set, const std::vector<std::string>& faults, std::ostream& err);
