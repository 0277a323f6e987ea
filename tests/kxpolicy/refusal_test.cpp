#include "tools/kxpolicy/refusal.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/trace_capture.h"

namespace {

TEST(Refusal, IsTheLastErrorOfTheOwnThread) {
  CkxRefusal refusal;
  EXPECT_EQ(refusal.Text(), "");
  KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: first");
  KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: second, Status=", 7);
  KxTrace(EkxTraceLevel::Warning, "Scope", "WARNING: no refusal");
  KxTraceAs(EkxTraceLevel::Error, EkxTraceVariant::Redirected, "Scope", "ERROR: for another log");
  std::thread([] { KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: of another thread"); }).join();
  EXPECT_EQ(refusal.Text(), "ERROR: second, Status=7");
  refusal.Clear();
  EXPECT_EQ(refusal.Text(), "");
}

TEST(Refusal, KeepsLesserLinesWhereItIsToldTo) {
  CkxRefusal refusal(EkxTraceLevel::Info);
  KxTrace(EkxTraceLevel::Debug, "Scope", "deeper");
  EXPECT_EQ(refusal.Text(), "");
  KxTrace(EkxTraceLevel::Info, "Scope", "it is not there");
  EXPECT_EQ(refusal.Text(), "it is not there");
  KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: refused");
  KxTrace(EkxTraceLevel::Info, "Scope", "and more");
  EXPECT_EQ(refusal.Text(), "ERROR: refused") << "an error counts before what is said behind it";
}

TEST(Refusal, HandsOnWhatTheSinkBeforeItShows) {
  const CkxTraceCapture all;
  {
    const CkxRefusal outer;
    CkxRefusal inner;
    KxTrace(EkxTraceLevel::Verbose, "Scope", "deep");
    KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: no");
    EXPECT_EQ(inner.Text(), outer.Text());
  }
  KxTrace(EkxTraceLevel::Info, "Scope", "after");
  EXPECT_EQ(all.Texts(), (std::vector<std::string>{"KXT_VERBOSE Scope: deep", "KXT_ERROR Scope: ERROR: no",
                                                   "KXT_INFO Scope: after"}));
}

}  // namespace
