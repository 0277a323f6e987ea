// Policies in order as a policy document, as people write it, with a comment at each that says where it comes from.
#pragma once

#include <stdexcept>

#include "Agent/engine/kx_publish/import/rule_order.h"

/// The rules would make more targets than a document is read with in reasonable time.
class CkxImportTooLarge : public std::runtime_error {
 public:
  CkxImportTooLarge() : std::runtime_error("its rules make too many targets") {}
};

struct SkxImportDocument {
  std::string text;
  size_t policies = 0;
};

/// The policies of the sets one after the other, with ids from `firstId` on. Says of rules what is not expressed.
/// Throws CkxImportTooLarge, and std::runtime_error should the document be none that reads back.
SkxImportDocument KxImportDocument_Write(SkxImportedPolicy& policy, uint32_t firstId, const std::string& title);
