// The C interface for tests: what it opens closed, and what it hands out freed.
#pragma once

#include <gtest/gtest.h>
#include <kx_policy.h>

#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct SkxClosePolicies {
  void operator()(kx_policies* policies) const { kx_policy_close(policies); }
};
using KxTestPolicies = std::unique_ptr<kx_policies, SkxClosePolicies>;

/// What was handed out, as text that frees itself; empty for NULL.
inline std::string KxTest_Taken(char* text) {
  const std::string taken = text != nullptr ? text : "";
  kx_policy_free(text);
  return taken;
}

struct SkxAsked {
  int status;
  std::string answer;
  std::string error;
};

inline SkxAsked KxTest_Ask(const kx_policies* policies, std::string_view target,
                           const kx_policy_options* options = nullptr) {
  char* answer = nullptr;
  char* error = nullptr;
  const int status = kx_policy_evaluate(policies, target.data(), target.size(), options, &answer, &error);
  return {status, KxTest_Taken(answer), KxTest_Taken(error)};
}

inline SkxAsked KxTest_Summarize(const kx_policies* policies, std::string_view targets, const char* before = nullptr,
                                 const kx_policy_options* options = nullptr) {
  char* summary = nullptr;
  char* error = nullptr;
  const int status = kx_policy_summarize(policies, targets.data(), targets.size(), options, before, &summary, &error);
  return {status, KxTest_Taken(summary), KxTest_Taken(error)};
}

/// `open(&policies, &error)` is one of the functions that open. Null with the error in `told` where it does not.
template <class Open>
KxTestPolicies KxTest_Opened(Open open, std::string* told = nullptr) {
  kx_policies* policies = nullptr;
  char* error = nullptr;
  const int status = open(&policies, &error);
  const std::string line = KxTest_Taken(error);
  EXPECT_EQ(status == KX_POLICY_OK, policies != nullptr);
  EXPECT_EQ(line.empty(), policies != nullptr) << "a reason where there are no policies, and only there";
  if (told != nullptr) *told = line;
  return KxTestPolicies(policies);
}

inline KxTestPolicies KxTest_OpenedDocument(std::string_view text, std::string* told = nullptr) {
  const kx_policy_document document = {"policies.jsonc", text.data(), text.size()};
  return KxTest_Opened(
      [&](kx_policies** policies, char** error) { return kx_policy_open_documents(&document, 1, policies, error); },
      told);
}

inline std::string KxTest_FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The policies that people start from: something of every kind. Tests run at the root of the sources.
inline KxTestPolicies KxTest_OpenedWorkstation() {
  const std::string names[] = {"examples/workstation/policies.jsonc", "examples/workstation/upkeep.jsonc"};
  const std::string texts[] = {KxTest_FileText(names[0]), KxTest_FileText(names[1])};
  const kx_policy_document documents[] = {{names[0].c_str(), texts[0].data(), texts[0].size()},
                                          {names[1].c_str(), texts[1].data(), texts[1].size()}};
  return KxTest_Opened(
      [&](kx_policies** policies, char** error) { return kx_policy_open_documents(documents, 2, policies, error); });
}

constexpr const char* kKxTestTargets = "examples/workstation/targets.jsonl";

inline std::vector<std::string> KxTest_Lines(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}
