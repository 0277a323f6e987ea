// What of a publication a document can say.
//
// Records hold more than documents do: a policy without a name, two policies of one id, a hash of another form, an
// expression that does not compile, a link to a group that is not there, text that is no well-formed UTF-16. Whoever
// shows an image as a document takes such elements out whole, since a policy without one of its targets would be
// another policy, and says which and why.
#pragma once

#include <set>
#include <string>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

struct SkxUnsayable {
  enum class List { Policies, Groups, Alerts };
  List list;
  size_t index;     ///< in the list as it was
  std::string why;  ///< begins with a JSON pointer into the element when there is a place to name
};

/// Takes out what no document can say, and with it what names something that went. What is left, the rows of applicable
/// policies aside, is what `KxPolicyDocument_Read` reads from what `KxPolicyDocument_Write` writes of it.
std::vector<SkxUnsayable> KxSayable_Keep(SkxPublication& publication);

using KxGuids = std::set<GUID, SkxGuidLess>;

/// The groups that the targets name: by links, and as parents.
KxGuids KxSayable_NamedGroups(const std::vector<SkxTargetModel>& targets);
