// Images that are signed where they are compiled, by the keys that scripts/make-image-signatures makes.
#pragma once

#include <gtest/gtest.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/trace_capture.h"

inline std::string KxTest_SignersFile(const std::string& name) { return KX_IMAGE_SIGNATURES "/" + name; }

class CkxSignedImageTest : public testing::Test {
 protected:
  /// By the certificate and the key of `signer`, or another key; not signed where there is none.
  SkxToolRun Compile(const std::string& signer, const std::string& key = "") const {
    work.Write("policies.json", R"({"policies": [{"id": 7, "name": "No tools", "action": "block", "targets": []}],
                                   "applicable": {"*": [7]}})");
    std::vector<std::string> arguments = {"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image};
    if (!signer.empty()) {
      const std::string keyFile = KxTest_SignersFile((key.empty() ? signer : key) + ".key");
      arguments.insert(arguments.end(), {"--sign", keyFile, "--certificate", KxTest_SignersFile(signer + ".pem")});
    }
    return KxTest_RunTool(arguments);
  }

  const CkxTraceCapture quiet;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
};
