#include "Common_CPP/secure_named_pipe/peer_identity.h"

#include <map>

#include "tests/support/data_rows.h"
#include "tests/support/known_program.h"

namespace {

TEST(PeerIdentity, WhoMayBeTheAgent) {
  const std::map<std::string, uint32_t> levels = {
      {"none", 0}, {"low", 0x1000}, {"medium", 0x2000}, {"high", 0x3000}, {"system", 0x4000}};
  using Utf8Text = std::string;
  KxTest_ForRows<Utf8Text, Utf8Text, std::optional<Utf8Text>, Utf8Text, bool, bool>(
      "security/agents.txt",
      [&](const auto&, const auto& user, const auto& integrity, const auto& asker, bool trustsOwner, bool mayBeAgent) {
        SkxPipePeer server = {CkxSid::FromUtf8(user).value(), 1, {}};
        if (integrity) server.integrity = levels.at(*integrity);
        EXPECT_EQ(KxPeer_MayBeAgent(server, {trustsOwner, levels.at(asker)}), mayBeAgent);
      });
}

TEST(PeerIdentity, AServerIsTheExpectedProgram) {
  const SkxPipePeer system = {CkxSid::FromUtf8("S-1-5-18").value(), 4711, 0x4000};
  using Known = std::optional<KxWString>;
  KxTest_ForRows<std::string, Known, Known, KxWString, KxWString, bool>(
      "security/expected_servers.txt", [&](const auto&, const auto& image, const auto& signer,
                                           const auto& expectedImage, const auto& expectedSigner, bool isExpected) {
        const CkxKnownProgram known(4711, image, signer);
        EXPECT_EQ(KxPeer_IsExpectedServer(system, {expectedImage, expectedSigner}), isExpected);
      });
}

}  // namespace
