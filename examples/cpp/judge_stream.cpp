// judge_stream IMAGE: judges target documents, one a line of standard input, and writes what became of them in numbers.
//
//   judge_stream image <launches.jsonl
#include <kx_publish/judge.h>
#include <kx_publish/summary.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: judge_stream IMAGE\n";
    return 2;
  }
  SkxDocumentError error;
  const std::optional<CkxPolicies> policies = CkxPolicies::Open(argv[1], error);
  if (!policies) {
    std::cerr << "judge_stream: " << error.Text() << '\n';
    return 3;
  }

  const CkxJudge judge(*policies);  // prepared: many lines are to come
  CkxSummary summary(*policies);
  int code = 0;
  uint64_t number = 0;
  for (std::string line; std::getline(std::cin, line);) {
    ++number;
    if (const std::optional<CkxTarget> target = CkxTarget::Parse(line, error)) {
      summary.Count(judge.Decide(*target));
      continue;
    }
    std::cerr << "judge_stream: line " << number << ": " << error.Text() << '\n';
    summary.CountUnusable();
    code = 3;
  }
  std::cout << summary.ToText();
  return code;
}
