// The JSON that people write policies in (docs/policy.schema.json), comments allowed, to and from the model.
//
//   {"policies": [{"id": 1, "name": "No games", "action": "block",
//                  "targets": [{"type": "executable", "fileName": "solitaire*.exe"}]}]}
#pragma once

#include <kx_publish/document_error.h>

#include <nlohmann/json_fwd.hpp>
#include <span>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// All documents together as one publication: policies in the order given, groups and alerts known by name across
/// documents.
bool KxPolicyDocument_Read(std::span<const SkxDocumentText> documents, SkxPublication& publication,
                           SkxDocumentError& error);

/// The document that reads back as `publication`, if any does (sayable.h). Values at their defaults are left out.
/// False, with the place of the element, for a text that is no well-formed UTF-16, which JSON cannot carry.
bool KxPolicyDocument_Write(const SkxPublication& publication, nlohmann::ordered_json& document,
                            SkxDocumentError& error);
