// What the C interface refuses, with its status and a reason; nothing crashes and results are NULL then.
#include <algorithm>
#include <cstring>
#include <functional>

#include "tests/kx_policy/asked.h"
#include "tests/kx_policy/c_caller.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr const char* kPolicies =
    R"({"policies": [{"id": 3, "name": "P", "action": "block", "targets": [{"type": "executable", "fileName": "a.exe"}]}]})";
constexpr const char* kTarget = R"({"id": "x", "kind": "process", "path": "C:\\a.exe"})";

/// A path as the interface takes it: UTF-8.
std::string PathIn(const CkxTempFolder& folder, const char* name) {
  const std::u8string text = (folder.Path() / name).u8string();
  return std::string(text.begin(), text.end());
}

TEST(CInterface, IsUsedFromC) {
  const CkxTempFolder folder;
  const std::string image = PathIn(folder, "image");
  char answer[128] = "";
  EXPECT_EQ(KxTestC_CompileAndAsk(kPolicies, image.c_str(), kTarget, answer, sizeof(answer)), KX_POLICY_OK);
  EXPECT_STREQ(answer, R"({"id":"x","matched":true,"policyId":3,"action":2})");
  EXPECT_EQ(KxTestC_CompileAndAsk("{", image.c_str(), kTarget, answer, sizeof(answer)), KX_POLICY_INPUT);
  EXPECT_STREQ(kx_policy_version(), "1.0.0");
}

TEST(CInterface, NamesEachStatusInItsOwnWords) {
  std::vector<std::string> texts;
  for (int status = KX_POLICY_INTERNAL; status <= KX_POLICY_FAULTY; ++status) {
    texts.push_back(kx_policy_status_text(status));
  }
  texts.push_back(kx_policy_status_text(99));
  EXPECT_EQ(kx_policy_status_text(INT32_MIN), texts.back());
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
}

struct Refused {
  const char* what;
  int status;
  const char* reason;  ///< a part of it
  std::function<int(kx_policies** policies, char** text, char** error)> call;
};

TEST(CInterface, RefusesWhatCannotBeUsed) {
  const CkxTempFolder folder;
  folder.Write("other", "x");
  const std::string other = PathIn(folder, "other");
  const std::string place = PathIn(folder, ".");
  const std::string ownName = folder.Path().filename().string();
  const KxTestPolicies opened = KxTest_OpenedDocument(kPolicies);
  const kx_policies* const asked = opened.get();
  const size_t size = std::strlen(kTarget);
  const auto document = [](const char* name, std::string_view text) {
    return kx_policy_document{name, text.data(), text.size()};
  };
  const auto with = [&](kx_policy_options options) {
    return [=](kx_policies**, char** text, char** error) {
      return kx_policy_evaluate(asked, kTarget, size, &options, text, error);
    };
  };
  const auto documents = [&](kx_policy_document one) {
    return [=](kx_policies** policies, char**, char** error) {
      return kx_policy_open_documents(&one, 1, policies, error);
    };
  };
  constexpr size_t kSize = sizeof(kx_policy_options);
  const Refused kRefused[] = {
      {"no folder", KX_POLICY_ARGUMENT, "the folder is NULL",
       [](auto policies, auto, auto error) { return kx_policy_open_image(nullptr, policies, error); }},
      {"a folder that is no text", KX_POLICY_ARGUMENT, "UTF-8",
       [](auto policies, auto, auto error) { return kx_policy_open_image("\xC3\x28", policies, error); }},
      {"an empty path", KX_POLICY_ARGUMENT, "the folder",
       [](auto policies, auto, auto error) { return kx_policy_open_image("", policies, error); }},
      {"a file for a folder", KX_POLICY_INPUT, "other",
       [&](auto policies, auto, auto error) { return kx_policy_open_image(other.c_str(), policies, error); }},
      {"a folder that is no image", KX_POLICY_INPUT, ownName.c_str(),
       [&](auto policies, auto, auto error) { return kx_policy_open_image(place.c_str(), policies, error); }},
      {"nowhere for the policies", KX_POLICY_ARGUMENT, "nowhere",
       [&](auto, auto, auto error) { return kx_policy_open_image(place.c_str(), nullptr, error); }},
      {"nowhere for the live policies", KX_POLICY_ARGUMENT, "nowhere",
       [](auto, auto, auto error) { return kx_policy_open_live(nullptr, error); }},
      {"no documents", KX_POLICY_ARGUMENT, "no documents",
       [](auto policies, auto, auto error) { return kx_policy_open_documents(nullptr, 1, policies, error); }},
      {"none of them", KX_POLICY_ARGUMENT, "no documents",
       [&](auto policies, auto, auto error) {
         const kx_policy_document one = document("d", "{}");
         return kx_policy_open_documents(&one, 0, policies, error);
       }},
      {"a document without a name", KX_POLICY_ARGUMENT, "NULL", documents(document(nullptr, "{}"))},
      {"one without a text", KX_POLICY_ARGUMENT, "NULL", documents({"d", nullptr, 0})},
      {"a name that is no text", KX_POLICY_ARGUMENT, "UTF-8", documents(document("\xFF", "{}"))},
      {"a size that no memory has", KX_POLICY_INPUT, "d: is too large", documents({"d", "{}", SIZE_MAX})},
      {"an empty document", KX_POLICY_INPUT, "d: line 1", documents(document("d", ""))},
      {"a NUL inside", KX_POLICY_INPUT, "d: must not have a NUL",
       documents(document("d", std::string_view("{}\0", 3)))},
      {"a fault and its place", KX_POLICY_INPUT, "d: /policies/0/id",
       documents(document("d", R"({"policies": [{"id": -1}]})"))},
      {"no targets to sum up", KX_POLICY_ARGUMENT, "targets is NULL",
       [&](auto, auto text, auto error) {
         return kx_policy_summarize(asked, nullptr, 0, nullptr, nullptr, text, error);
       }},
      {"a sum that is none", KX_POLICY_INPUT, "the summary before: ",
       [&](auto, auto text, auto error) {
         return kx_policy_summarize(asked, kTarget, size, nullptr, R"({"targets": 1})", text, error);
       }},
      {"documents for nowhere", KX_POLICY_ARGUMENT, "the folder",
       [&](auto, auto, auto error) {
         const kx_policy_document one = document("d", kPolicies);
         return kx_policy_compile(&one, 1, nullptr, error);
       }},
      {"a folder with other things", KX_POLICY_REFUSED, "other",
       [&](auto, auto, auto error) {
         const kx_policy_document one = document("d", kPolicies);
         return kx_policy_compile(&one, 1, place.c_str(), error);
       }},
      {"nowhere for the findings", KX_POLICY_ARGUMENT, "nowhere",
       [&](auto, auto, auto error) {
         const kx_policy_document one = document("d", kPolicies);
         return kx_policy_check(&one, 1, nullptr, error);
       }},
      {"nothing to check", KX_POLICY_ARGUMENT, "no documents",
       [](auto, auto text, auto error) { return kx_policy_check(nullptr, 0, text, error); }},
      {"more than can be checked", KX_POLICY_INPUT, "d: is too large",
       [&](auto, auto text, auto error) {
         const kx_policy_document one = {"d", "{}", SIZE_MAX};
         return kx_policy_check(&one, 1, text, error);
       }},
      {"nothing to ask", KX_POLICY_ARGUMENT, "policies is NULL",
       [=](auto, auto text, auto error) { return kx_policy_evaluate(nullptr, kTarget, size, nullptr, text, error); }},
      {"nothing to ask about", KX_POLICY_ARGUMENT, "target is NULL",
       [=](auto, auto text, auto error) { return kx_policy_evaluate(asked, nullptr, 0, nullptr, text, error); }},
      {"nowhere for the answer", KX_POLICY_ARGUMENT, "nowhere",
       [=](auto, auto, auto error) { return kx_policy_evaluate(asked, kTarget, size, nullptr, nullptr, error); }},
      {"no file", KX_POLICY_ARGUMENT, "path is NULL",
       [=](auto, auto text, auto error) { return kx_policy_evaluate_file(asked, nullptr, nullptr, text, error); }},
      {"a file, but nothing to ask", KX_POLICY_ARGUMENT, "policies is NULL",
       [&](auto, auto text, auto error) {
         return kx_policy_evaluate_file(nullptr, other.c_str(), nullptr, text, error);
       }},
      {"options of another size", KX_POLICY_ARGUMENT, "size", with({kSize - 1, nullptr, nullptr, 0})},
      {"an empty SID", KX_POLICY_ARGUMENT, "is no SID", with({kSize, "", nullptr, 0})},
      {"a SID with something behind it", KX_POLICY_ARGUMENT, "is no SID", with({kSize, "S-1-5-18\n", nullptr, 0})},
      {"a field of no answer", KX_POLICY_ARGUMENT, "no \"policyid\"", with({kSize, nullptr, "matched,policyid", 0})},
      {"an unknown explanation", KX_POLICY_ARGUMENT, "explain", with({kSize, nullptr, nullptr, 3})},
      {"another one", KX_POLICY_ARGUMENT, "explain", with({kSize, nullptr, nullptr, -1})},
  };
  for (const Refused& refused : kRefused) {
    SCOPED_TRACE(refused.what);
    kx_policies* policies = opened.get();
    char* text = const_cast<char*>("before");
    char* const before = text;
    char* error = text;
    EXPECT_EQ(refused.call(&policies, &text, &error), refused.status);
    EXPECT_NE(KxTest_Taken(error).find(refused.reason), std::string::npos) << refused.reason;
    EXPECT_TRUE(policies == nullptr || policies == opened.get());
    EXPECT_TRUE(text == nullptr || text == before) << "nothing half made";
    policies = nullptr;
    EXPECT_EQ(refused.call(&policies, &text, nullptr), refused.status) << "nobody wants to know why";
    EXPECT_EQ(policies, nullptr);
  }
  kx_policy_close(nullptr);
  kx_policy_free(nullptr);
  EXPECT_EQ(folder.Count(), 1u) << "nothing was written";
  EXPECT_EQ(KxTest_Ask(asked, kTarget).status, KX_POLICY_OK) << "and all is as it was";
}

}  // namespace
