// What the machine's service says of prompts about these files, to whoever runs this: a line each.
//
//   policy 1        it decides
//   no policy       none applies
//   no answer
#include <kx_util/shared_policies_data.h>

#include <cstdio>
#include <string_view>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view path = argv[i];
    SvcUacActionInfo action;
    if (!CkxSharedPoliciesData::GetUacAction(KxWString(path.begin(), path.end()).c_str(), 0, action)) {
      std::puts("no answer");
    } else if (action.policyApplies == 0) {
      std::puts("no policy");
    } else {
      std::printf("policy %u\n", unsigned{action.policy.PolicyId});
    }
  }
}
