// Marks on tokens, without memory.
#include <gtest/gtest.h>
#include <kx_util/policy_result.h>
#include <kx_util/token_policy_data.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/token_security_attributes/token_security_attributes.h"
#include "tests/memory/sweep.h"
#include "tests/support/fake_token_attributes.h"

namespace {

using namespace kx_no_memory;

/// Whatever fails, a token has the stamp that it had or the one that it was to have, and keeps what others marked it
/// with.
TEST(NoMemory, TheStampOnAToken) {
  using Attributes = std::vector<SkxTokenAttribute>;
  CkxFakeTokenAttributes system;
  void* const ofSystem = reinterpret_cast<void*>(uintptr_t{0x1234});
  system.tokens[ofSystem];
  CkxAccessToken ours(*CkxSid::FromUtf8("S-1-5-18"), {}, true);
  SkxTriggerPolicyShortInfo info;
  info.PolicyId = 7;
  const CkxTokenPolicyData stamp(false, 4711, info);
  const SkxTokenAttribute before = CkxTokenPolicyData(true, 4712, info).ToAttribute(true, 10);
  const SkxTokenAttribute after = stamp.ToAttribute(false, 10);
  SkxTokenAttribute others = before;
  others.name = KXW("SOMEBODY://A mark of some length");
  const Attributes both = {others, before};
  const Attributes none;
  const auto listOf = [](void* token) {
    Attributes attributes;
    EXPECT_TRUE(CkxTokenSecurityAttributes::List(token, attributes));
    return attributes;
  };
  const auto clear = [&](void* token) {
    for (const SkxTokenAttribute& old : listOf(token)) CkxTokenSecurityAttributes::Delete(token, old.name);
  };
  struct TokenOperation {
    const char* name;
    std::function<bool(void* token)> call;
    Attributes begin, end;  ///< of the token
  };
  const std::vector<TokenOperation> operations = {
      {"set", [&](void* token) { return stamp.SetToToken(token, false); }, {others}, {others, after}},
      {"set again", [&](void* token) { return stamp.SetToToken(token, false); }, both, {others, after}},
      {"read",
       [](void* token) {
         CkxTokenPolicyData read;
         const bool isFound = read.GetFromToken(token);
         EXPECT_EQ(read.IsEmpty(), !isFound);
         return isFound && read.GetPid() == 4712;
       },
       both, both},
      {"delete", [](void* token) { return CkxTokenPolicyData::DeleteFromToken(token); }, both, {others}},
      {"list",
       [&](void* token) {
         Attributes attributes;
         const bool isDone = KxEntry(false, [&] { return CkxTokenSecurityAttributes::List(token, attributes); });
         EXPECT_EQ(attributes, isDone ? both : none);
         return isDone;
       },
       both, both},
  };
  for (void* const token : {ofSystem, ours.Handle()}) {
    for (const TokenOperation& operation : operations) {
      Sweep(
          operation.name + std::string(token == ofSystem ? ", of the system" : ", of ours"),
          [&](Trial& trial) {
            for (const SkxTokenAttribute& made : operation.begin) CkxTokenSecurityAttributes::Set(token, made);
            const bool isDone = trial.During([&] { return operation.call(token); });
            EXPECT_EQ(listOf(token), isDone ? operation.end : operation.begin);
            clear(token);
            return YesOrNothing(isDone);
          },
          1);
    }
  }
}

}  // namespace
