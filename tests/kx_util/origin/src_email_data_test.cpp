#include <kx_util/src_email_data.h>

#include <gmock/gmock.h>
#include <kx_util/origin_caller.h>

#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::StartsWith;

class Caller : public IkxOriginCaller {
 public:
  explicit Caller(bool mayWrite) : _mayWrite(mayWrite) {}
  bool MayWrite() const noexcept override { return _mayWrite; }

 private:
  const bool _mayWrite;
};

class CallerScope {
 public:
  explicit CallerScope(bool mayWrite) : _before(KxUtil_SetOriginCaller(std::make_shared<Caller>(mayWrite))) {}
  ~CallerScope() { KxUtil_SetOriginCaller(_before); }
  CallerScope(const CallerScope&) = delete;
  CallerScope& operator=(const CallerScope&) = delete;

 private:
  const std::shared_ptr<const IkxOriginCaller> _before;
};

CkxSrcEmailData Email(uint64_t time, const KxWString& entryId, const KxWString& storeId, const KxWString& address,
                      const KxWString& subject) {
  CkxSrcEmailData email;
  email.receivedTime = time;
  email.entryId = entryId;
  email.storeId = storeId;
  email.senderAddress = address;
  email.subject = subject;
  return email;
}

CkxSrcEmailData AnEmail() { return Email(1, KXW("E"), KXW("S"), KXW("a@b.example"), KXW("About")); }
const std::string kAnEmail =
    R"(<KxSrcEmail receivedTime="1" entryId="E" storeId="S"><Sender><SMTPAddr>a@b.example</SMTPAddr></Sender>)"
    R"(<Subject>About</Subject></KxSrcEmail>)";

void ExpectSameEmail(const CkxSrcEmailData& a, const CkxSrcEmailData& b) {
  EXPECT_EQ(a.receivedTime, b.receivedTime);
  EXPECT_EQ(a.entryId, b.entryId);
  EXPECT_EQ(a.storeId, b.storeId);
  EXPECT_EQ(a.senderAddress, b.senderAddress);
  EXPECT_EQ(a.subject, b.subject);
}

/// What it says when it refuses, after which nothing is in it.
template <class Operation>
std::string Said(CkxSrcEmailData& email, Operation operation) {
  const CkxTraceCapture trace;
  if (operation(email)) return "";
  ExpectSameEmail(email, CkxSrcEmailData());
  return trace.Lines().empty() ? "(no line)" : trace.Lines().back().message;
}

TEST(SrcEmailData, ToTheLetterAndBack) {
  KxTest_ForRows<uint64_t, KxWString, KxWString, KxWString, KxWString, std::string>(
      "origin/emails.txt", [](uint64_t time, const KxWString& entryId, const KxWString& storeId,
                              const KxWString& address, const KxWString& subject, const std::string& expected) {
        const CkxSrcEmailData email = Email(time, entryId, storeId, address, subject);
        std::string xml;
        ASSERT_TRUE(email.ToXml(xml));
        EXPECT_EQ(xml, expected);
        CkxSrcEmailData read = AnEmail();
        ASSERT_TRUE(read.FromXml(xml));
        ExpectSameEmail(read, email);
      });
}

TEST(SrcEmailData, WhatIsRead) {
  KxTest_ForRows<std::string, std::optional<KxWString>, std::string>(
      "origin/email_faults.txt",
      [](const std::string& xml, const std::optional<KxWString>& address, const std::string& refusal) {
        CkxSrcEmailData email = AnEmail();
        EXPECT_EQ(Said(email, [&](CkxSrcEmailData& read) { return read.FromXml(xml); }), refusal);
        EXPECT_EQ(email.senderAddress, CkxUtilStr(address.value_or(KxWString())));
      });
  for (size_t size = 0; size < kAnEmail.size(); ++size) {
    CkxSrcEmailData email = AnEmail();
    EXPECT_FALSE(email.FromXml(kAnEmail.substr(0, size))) << size;
  }
}

TEST(SrcEmailData, BesideTheFile) {
  const CallerScope allowed(true);
  const CkxTempFolder folder;
  const KxWString path = folder.Text("setup.exe");
  const auto fromFile = [&](CkxSrcEmailData& email) { return email.FromFile(path.c_str()); };
  CkxSrcEmailData email = AnEmail();
  EXPECT_THAT(Said(email, fromFile), StartsWith("ERROR: Sender info file not found."));

  ASSERT_TRUE(AnEmail().ToFile(path.c_str()));
  EXPECT_EQ(folder.Read("setup.exe.kxsrc"), kAnEmail);
  EXPECT_EQ(folder.Count(), 1u);
  EXPECT_EQ(Said(email, fromFile), "");
  ExpectSameEmail(email, AnEmail());

  folder.Write("setup.exe.kxsrc", "");
  EXPECT_THAT(Said(email, fromFile), StartsWith("ERROR: Unexpected sender info file size."));
  folder.Write("setup.exe.kxsrc", kAnEmail + std::string(CkxSrcEmailData::kMaxFileBytes - kAnEmail.size(), ' '));
  EXPECT_EQ(Said(email, fromFile), "");
  folder.Write("setup.exe.kxsrc", kAnEmail + std::string(CkxSrcEmailData::kMaxFileBytes - kAnEmail.size() + 1, ' '));
  EXPECT_THAT(Said(email, fromFile), StartsWith("ERROR: Unexpected sender info file size."));
  std::filesystem::remove(folder.Path() / "setup.exe.kxsrc");
  std::filesystem::create_directory(folder.Path() / "setup.exe.kxsrc");
  EXPECT_THAT(Said(email, fromFile), StartsWith("ERROR: Failed to open sender info file."));
}

TEST(SrcEmailData, WhatIsNotWritten) {
  const CkxTempFolder folder;
  const KxWString path = folder.Text("setup.exe");
  const struct {
    const char* what;
    bool mayWrite;
    CkxSrcEmailData email;
    KxWString path;
    const char* refusal;
  } kCases[] = {
      {"by whom", false, AnEmail(), path, "ERROR: Unexpected caller."},
      {"without a sender", true, Email(1, {}, {}, {}, KXW("About")), path, "ERROR: Cannot find /SMTPAddr element text"},
      {"no text", true, Email(1, {}, {}, KXW("a"), KXW("\u0001")), path, "ERROR: xmlDoc.Accept failed"},
      {"too much", true, Email(1, {}, {}, KXW("a"), KxWString(70000, 's')), path, "ERROR: xmlDoc.Accept failed"},
      {"nowhere", true, AnEmail(), folder.Text("missing/setup.exe"), "ERROR: Failed to create sender info file."},
      {"no path", true, AnEmail(), {}, "ERROR: Failed to create sender info file."},
  };
  for (const auto& row : kCases) {
    const CallerScope caller(row.mayWrite);
    const CkxTraceCapture trace;
    EXPECT_FALSE(row.email.ToFile(row.path.c_str())) << row.what;
    ASSERT_FALSE(trace.Lines().empty());
    EXPECT_THAT(trace.Lines().back().message, StartsWith(row.refusal));
    EXPECT_EQ(folder.Count(), 0u);
  }
}

}  // namespace
