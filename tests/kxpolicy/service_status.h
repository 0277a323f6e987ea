// What the service of a test's machine tells of itself, once it does, and an image for it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/kxpolicy/run_tool.h"

/// An image of one policy with that id.
inline void KxTest_CompileOne(const CkxTempFolder& work, const std::string& image, int id) {
  const std::string document = KxTest_PathText(work.Path() / "policies.json");
  work.Write("policies.json", R"({"policies": [{"id": )" + std::to_string(id) +
                                  R"(, "name": "No tools", "action": "block", "targets": []}]})");
  const SkxToolRun run = KxTest_RunTool({"compile", document, "-o", image});
  ASSERT_EQ(run.code, 0) << run.err;
}

/// Asks until `isSo` of the status; what was told last when it never is, null when nobody ever answers.
template <class IsSo>
nlohmann::json KxTest_StatusWhen(IsSo isSo) {
  nlohmann::json status;
  for (int i = 0; i < 2000; ++i) {
    const SkxToolRun run = KxTest_RunTool({"status", "--format", "json"});
    if (run.code == 0) status = nlohmann::json::parse(run.out);
    if (!status.is_null() && isSo(status)) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return status;
}

inline nlohmann::json KxTest_StatusOfPolicy(int id) {
  return KxTest_StatusWhen([&](const nlohmann::json& status) { return status["policies"][0]["policyId"] == id; });
}
