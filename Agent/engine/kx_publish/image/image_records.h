// The records of an image, one after the other.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_util/store/section_records.h"

/// `visit(bytes, offset)` for each record of a section, `offset` from the section's first byte. Nothing for a section
/// that is not there. Where the framing ends too early, "12: what is wrong there" is added to `faults`.
template <class Visit>
void KxImage_ForEachRecord(const std::optional<SkxPolicyImage::Bytes>& section, const SkxRecordKind& kind,
                           std::vector<std::string>& faults, Visit visit) {
  if (!section) return;
  CkxSectionRecords records(kind, *section);
  if (!records.HasCount()) return faults.push_back("0: is too short for the count of its records");
  size_t offset = sizeof(uint32_t);
  for (uint32_t i = 0; i < records.Count(); ++i) {
    const unsigned char* const bytes = records.Next();
    if (bytes == nullptr) return faults.push_back(std::to_string(offset) + ": " + std::string(records.Fault()));
    visit(bytes, offset);
    offset += KxBytes_Load<uint32_t>(bytes + sizeof(uint32_t));
  }
}
