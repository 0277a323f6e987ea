// decide IMAGE FILE: what the policies of an image do about a file of this machine, and which ones came close.
//
//   decide image setup.exe
#include <kx_publish/judge.h>

#include <cstdio>

namespace {

int Fail(int code, const std::string& why) {
  std::fprintf(stderr, "decide: %s\n", why.c_str());
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return Fail(2, "needs the folder of an image and a file");
  SkxDocumentError error;
  const std::optional<CkxPolicies> policies = CkxPolicies::Open(argv[1], error);
  if (!policies) return Fail(3, error.Text());
  const std::optional<CkxTarget> file = CkxTarget::File(argv[2], error);  // for the user who runs this
  if (!file) return Fail(3, error.Text());

  const CkxJudge judge(*policies, EkxPrepare::Never);  // for one question
  const SkxDecision decision = judge.Decide(*file, EkxExplain::Close);
  if (decision.outcome == EkxEvaluationOutcome::NotAnswered) return Fail(4, decision.error);  // not: nothing applies
  if (decision.matched) {
    std::printf("%s, by policy %u \"%s\"\n", KxDecision_ActionName(decision).c_str(), unsigned{decision.info.PolicyId},
                decision.policyName.c_str());
  } else {
    std::printf("no policy applies\n");
  }
  std::printf("%s\n", KxDecision_ToJson(decision).c_str());
  return 0;
}
