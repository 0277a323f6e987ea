// The C interface without memory: whichever allocation fails, once or from then on, the status says so, or the answer
// is the right one; nothing leaks, nothing ends the process.
#include <map>

#include "Agent/engine/kx_util/regexp/compiled_expressions.h"
#include "tests/kx_policy/asked.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/temp_folder.h"

namespace {

/// What one call gave, as it was handed out.
struct HandedOut {
  int status = KX_POLICY_INTERNAL;
  kx_policies* policies = nullptr;
  char* text = nullptr;
  char* error = nullptr;
};

/// The same as values, and freed.
struct Outcome {
  int status;
  bool isOpen;
  std::string text, error;

  bool operator==(const Outcome&) const = default;
};

Outcome Taken(const HandedOut& handed) {
  kx_policy_close(handed.policies);
  return {handed.status, handed.policies != nullptr, KxTest_Taken(handed.text), KxTest_Taken(handed.error)};
}

template <class Call>
Outcome Under(CkxFailingMemory memory, Call call) {
  KxExpression_ForgetAll();  // or what one call kept would be memory that the next one need not ask for
  HandedOut handed;
  memory.During([&] { call(handed); });
  const Outcome outcome = Taken(handed);
  KxExpression_ForgetAll();
  return outcome;
}

/// `call` sets what it is handed to what a function of the interface gives.
template <class Call>
void SweepInterface(const char* name, Call call) {
  SCOPED_TRACE(name);
  const Outcome right = Under(CkxFailingMemory(CkxFailingMemory::kNever, false), call);
  const size_t count = CkxFailingMemory::Count();
  ASSERT_GT(count, 5u) << "there is nothing to sweep";
  for (const bool forGood : {false, true}) {
    for (size_t failAt = 0; failAt < count; ++failAt) {
      const long before = CkxFailingMemory::Live();
      {
        const Outcome outcome = Under(CkxFailingMemory(failAt, forGood), call);
        const bool isTold = outcome.status == KX_POLICY_NO_MEMORY && !outcome.isOpen && outcome.text.empty() &&
                            (outcome.error.empty() || outcome.error == "out of memory");
        const bool isRight = outcome == right || (outcome.error.empty() && outcome.status == right.status &&
                                                  outcome.text == right.text && outcome.isOpen == right.isOpen);
        ASSERT_TRUE(isTold || isRight) << failAt << " of " << count << ": " << outcome.status << outcome.text
                                       << outcome.error << " for " << right.text;
      }
      ASSERT_EQ(CkxFailingMemory::Live(), before) << "leaked at allocation " << failAt;
    }
  }
}

constexpr std::string_view kDocument = R"({
  "applicationGroups": [{"name": "Games", "targets": [{"name": "Old", "type": "executable", "fileName": "chess.exe"}]}],
  "policies": [{"id": 1, "name": "No games", "action": "block", "users": ["S-1-5-18"], "targets": [{"type": "applicationGroup", "group": "Games"}]},
               {"id": 2, "name": "Tools of ours", "action": "run", "targets": [{"type": "executable", "fileName": {"pattern": "a(b|c)+\\.exe", "compareAs": "regExp"}}]}]})";

TEST(NoMemory, OpensPoliciesOrSaysSo) {
  const CkxTempFolder folder;
  const std::string image = (folder.Path() / "image").string();
  const kx_policy_document document = {"policies.jsonc", kDocument.data(), kDocument.size()};
  ASSERT_EQ(kx_policy_compile(&document, 1, image.c_str(), nullptr), KX_POLICY_OK);
  SweepInterface("an image", [&](HandedOut& handed) {
    handed.status = kx_policy_open_image(image.c_str(), &handed.policies, &handed.error);
  });
  SweepInterface("a document", [&](HandedOut& handed) {
    handed.status = kx_policy_open_documents(&document, 1, &handed.policies, &handed.error);
  });
  const kx_policy_document atFault = {"d", R"({"policies": [{"id": 1, "targets": [[1], {"a": [2]}]}]})", 55};
  SweepInterface("a document that is at fault", [&](HandedOut& handed) {
    handed.status = kx_policy_open_documents(&atFault, 1, &handed.policies, &handed.error);
  });
}

/// All that is in `folder` and below, by its path there; of folders that they are there.
std::map<std::string, std::string> FilesIn(const CkxTempFolder& folder) {
  std::map<std::string, std::string> files;
  for (const std::filesystem::directory_entry& entry : std::filesystem::recursive_directory_iterator(folder.Path())) {
    const std::string name = entry.path().lexically_relative(folder.Path()).generic_string();
    files[name] = entry.is_directory() ? "" : folder.Read(name);
  }
  return files;
}

/// Where there is one, on a file system that need not wait for a disk: images are flushed.
std::filesystem::path QuickFolder() {
  const std::filesystem::path inMemory = "/dev/shm";
  return std::filesystem::exists(inMemory) ? inMemory : std::filesystem::temp_directory_path();
}

/// The folder has the image before as long as the caller is told, and the new one once it is not; and nothing else.
TEST(NoMemory, CompilesWholeOrLeavesAllAsItWas) {
  constexpr std::string_view kBefore =
      R"({"policies": [{"id": 9, "name": "B", "action": "run", "targets": [{"type": "executable", "fileName": "b"}]}]})";
  constexpr std::string_view kAfter =
      R"({"policies": [{"id": 1, "name": "A", "action": "run", "targets": [{"type": "executable", "fileName": "a"}]}]})";
  const kx_policy_document before = {"before.jsonc", kBefore.data(), kBefore.size()};
  const kx_policy_document after = {"after.jsonc", kAfter.data(), kAfter.size()};
  for (const bool isReplaced : {false, true}) {
    const auto prepare = [&](const CkxTempFolder& folder) {
      const std::string place = (folder.Path() / (isReplaced ? "image" : "new/below/image")).string();
      EXPECT_EQ(isReplaced ? kx_policy_compile(&before, 1, place.c_str(), nullptr) : KX_POLICY_OK, KX_POLICY_OK);
      return place;
    };
    const CkxTempFolder whole(QuickFolder());
    const std::string wholePlace = prepare(whole);
    const auto old = FilesIn(whole);
    const auto compiled = [&](CkxFailingMemory memory, const std::string& place) {
      return Under(memory, [&](HandedOut& handed) {
        handed.status = kx_policy_compile(&after, 1, place.c_str(), &handed.error);
      });
    };
    ASSERT_EQ(compiled(CkxFailingMemory(CkxFailingMemory::kNever, false), wholePlace).status, KX_POLICY_OK);
    const size_t count = CkxFailingMemory::Count();
    const auto right = FilesIn(whole);
    ASSERT_NE(old, right);
    for (const bool forGood : {false, true}) {
      for (size_t failAt = 0; failAt < count; ++failAt) {
        const CkxTempFolder folder(QuickFolder());
        const std::string place = prepare(folder);
        const long live = CkxFailingMemory::Live();
        const Outcome outcome = compiled(CkxFailingMemory(failAt, forGood), place);
        const bool isDone = outcome.status == KX_POLICY_OK;
        ASSERT_TRUE(isDone || outcome.status == KX_POLICY_NO_MEMORY) << failAt << ": " << outcome.error;
        ASSERT_EQ(FilesIn(folder), isDone ? right : old) << failAt << " of " << count << ", " << outcome.status;
        ASSERT_EQ(CkxFailingMemory::Live(), live) << "leaked at allocation " << failAt;
      }
    }
  }
}

TEST(NoMemory, FindsAllOrSaysSo) {
  constexpr std::string_view kOdd = R"({
    "userGroups": {"Nobody": ["S-1-0-0"]}, "applicationGroups": [{"name": "A\u202eB", "targets": []}],
    "policies": [{"id": 1, "name": "All", "action": "run", "targets": [{"type": "executable", "fileName": {"pattern": ".*exe", "compareAs": "regExp"}}]},
                 {"id": 2, "name": "Late", "action": "run", "users": ["Nobody"], "targets": [
                   {"type": "executable", "fileName": {"pattern": "a\\s(b|c)+\\.exe", "compareAs": "regExp"}},
                   {"type": "executable", "location": "%TEMP%\\a.exe"}]},
                 {"id": 3, "name": "Never", "action": "block", "targets": [
                   {"type": "executable", "fileName": "b.exe", "publishers": ["A"]}]}]})";
  constexpr std::string_view kFaulty =
      R"({"policies": [{"id": 1, "targets": [[1], {"a": [2]}]}, {"name": "N", "acton": 1}]})";
  for (const std::string_view text : {kDocument, kOdd, kFaulty, kOdd.substr(1)}) {
    const kx_policy_document document = {"policies.jsonc", text.data(), text.size()};
    SweepInterface(std::string(text).c_str(), [&](HandedOut& handed) {
      handed.status = kx_policy_check(&document, 1, &handed.text, &handed.error);
    });
  }
}

TEST(NoMemory, AnswersRightOrSaysSo) {
  const KxTestPolicies workstation = KxTest_OpenedWorkstation();
  const KxTestPolicies named = KxTest_OpenedDocument(kDocument);
  std::vector<std::string> targets = KxTest_Lines(kKxTestTargets);
  targets.push_back(R"({"id": {"a": [1, [2]]}, "kind": "file", "linked": [{"kind": "file", "drives": {"C": 1}}]})");
  targets.push_back(R"({"id": [1], "kind": "process", "path": "C:\\abc.exe", "user": {"sid": "S-1-5-18"}})");
  const kx_policy_options plain = {sizeof(plain), nullptr, nullptr, KX_POLICY_EXPLAIN_NONE};
  const kx_policy_options explained = {sizeof(explained), "S-1-5-18", nullptr, KX_POLICY_EXPLAIN_ALL};
  for (size_t i = 0; i < targets.size(); ++i) {
    const std::string& target = targets[i];
    const auto ask = [&](const KxTestPolicies& policies, const kx_policy_options& options) {
      return [&](HandedOut& handed) {
        handed.status =
            kx_policy_evaluate(policies.get(), target.data(), target.size(), &options, &handed.text, &handed.error);
      };
    };
    SweepInterface(target.c_str(), ask(workstation, plain));
    SweepInterface(("explained: " + target).c_str(), ask(named, explained));
  }
  const std::string before = KxTest_Summarize(named.get(), targets[0]).answer;
  SweepInterface("a summary", [&](HandedOut& handed) {
    handed.status = kx_policy_summarize(named.get(), targets[1].data(), targets[1].size(), &explained, before.c_str(),
                                        &handed.text, &handed.error);
  });
  SweepInterface("a file", [&](HandedOut& handed) {
    handed.status = kx_policy_evaluate_file(workstation.get(), kKxTestTargets, nullptr, &handed.text, &handed.error);
  });
}

}  // namespace
