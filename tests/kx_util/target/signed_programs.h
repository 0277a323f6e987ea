// Programs that scripts/make-signed-programs has made, and who signed them as their description says.
#pragma once

#include <kx_util/target_info_file.h>

#include <gtest/gtest.h>

#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Common_CPP/signature/trust_store.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"

inline std::filesystem::path KxTest_Signed(const std::string& file) {
  return std::filesystem::path(KX_SIGNED_PROGRAMS) / file;
}

inline CkxTargetInfoFile KxTest_Described(const std::filesystem::path& path) {
  return CkxTargetInfoFile(path.string<WCHAR>().c_str(), nullptr);
}

inline std::string KxTest_Content(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

/// "NAME: state" as documents call it.
inline std::string KxTest_Signer(const CkxTargetInfoFile& file, bool second = false) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const WCHAR* const name = file.GetPublisher(second, status);
  return (name != nullptr ? KxText_ToUtf8(name) : "") + ": " + KxPublisherStatus_Row(status).key;
}

/// Of each row of the file below tests/data, whose columns are those of signature/programs.txt. `extension`: of the
/// files.
inline void KxTest_ExpectSigners(const char* rows, const char* extension = ".exe") {
  KxTest_ForRows<std::string, std::string, std::string, std::string, std::string, std::string>(
      rows, [extension](const auto& program, const auto& name, const auto& state, const auto& second,
                        const auto& secondState, const auto& other) {
        const CkxTargetInfoFile file = KxTest_Described(KxTest_Signed(program + extension));
        EXPECT_EQ(KxTest_Signer(file), name + ": " + state) << program;
        EXPECT_EQ(KxTest_Signer(file, true), second + ": " + secondState);
        const bool isGood = state == "valid" || state == "weak";
        const std::string verdict = KxTest_Content(KxTest_Signed(program + ".verdict"));
        EXPECT_EQ(isGood == (verdict == "good\n"), other == "same") << program << ": " << verdict;
      });
}

/// The roots of those programs.
class CkxTestTrust : public CkxTrustStore {
 public:
  CkxTestTrust() { EXPECT_TRUE(Add(KxTest_Signed("roots.pem").string<WCHAR>())); }
};
