// The image of the example that people start from: something of every kind. Tests run at the root of the sources.
#pragma once

#include <gtest/gtest.h>

#include <fstream>

#include "Agent/engine/kx_publish/document/policy_document.h"

constexpr const char* kKxTestWorkstationTargets = "examples/workstation/targets.jsonl";

inline SkxPublication KxTest_Workstation() {
  std::vector<SkxDocumentText> documents;
  for (const char* const name : {"examples/workstation/policies.jsonc", "examples/workstation/upkeep.jsonc"}) {
    std::ifstream file(name, std::ios::binary);
    documents.push_back({name, std::string(std::istreambuf_iterator<char>(file), {})});
  }
  SkxPublication publication;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Read(documents, publication, error)) << error.Text();
  return publication;
}
