// Recorded process starts as target documents.
//
//   const SkxEventKind* kind = KxEventKind_Named("sysmon");
//   for (const auto& document : KxEvents_Targets(*kind, event).documents) ...
//
// A document says what the event says, and nothing else: a name of a user is no SID, and a path stays as it was
// written.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "Agent/engine/kx_publish/events/event_kinds.h"

struct SkxEventTargets {
  std::vector<nlohmann::ordered_json> documents;
  size_t skipped = 0;  ///< events, or rows of a result, that are no starts of the kind
};

/// Of one line: an event, or a result with rows. What is a start, but says no path, and what cannot be understood is a
/// `CkxDocumentFault`.
SkxEventTargets KxEvents_Targets(const SkxEventKind& kind, const nlohmann::json& event);
