// The administrator's channel, and what is believed of its replies.
#include "Agent/engine/kx_publish/service/service_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/file_time.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::HasSubstr;

SkxServiceStatus SomeStatus() {
  SkxServiceStatus status;
  status.folder = "/etc/kx/im\xE4ge";  // as a path may be
  status.publication = "Global\\KxPub0001";
  status.inForce = {std::string(64, 'a'), 2, "Policy Office"};
  status.since = KxServiceStatus_Time(KxFileTime_FromUnix(951827696, 0));
  status.before = SkxStatusImage{std::string(64, 'b'), 1, std::nullopt};
  status.withdrawn = std::string(64, 'c');
  status.signatureRequired = true;
  status.processId = 4711;
  status.startedAt = "2026-11-22T22:53:01Z";
  status.uptimeSeconds = 86400;
  status.requests = {{"HANDLER_GET_UAC_ACTION", 1, 2, 3}};
  status.policies = {{7, "No \"tools\"", 5}};
  status.faults = {1, "what went wrong", "2026-11-22T22:53:02Z"};
  return status;
}

TEST(ServiceControl, TellsItsStatusAndRollsBack) {
  const CkxRuntimeFolderScope runtime;
  const CkxTraceCapture quiet;
  SkxServiceStatus status;
  std::string why;
  EXPECT_EQ(KxService_Ask(EkxServiceRequest::Status, status, why), EkxServiceReply::NoService);
  EXPECT_THAT(why, HasSubstr("kxpolicy serve"));

  SkxServiceStatus told = SomeStatus();
  std::string refusal = "there is nothing to go back to";
  CkxServiceControl control({[&] { return told; },
                             [&] {
                               if (refusal.empty()) told.withdrawn.reset();
                               return refusal;
                             }});
  KxWString channel;
  ASSERT_TRUE(control.Start(channel));
  EXPECT_EQ(KxService_Ask(EkxServiceRequest::Status, status, why), EkxServiceReply::Status) << why;
  EXPECT_EQ(status.since, "2000-02-29T12:34:56Z");
  EXPECT_EQ(KxServiceStatus_Json(status), KxServiceStatus_Json(SomeStatus()));
  EXPECT_EQ(KxService_Ask(EkxServiceRequest::Rollback, status, why), EkxServiceReply::Refused);
  EXPECT_EQ(why, refusal);
  refusal.clear();
  EXPECT_EQ(KxService_Ask(EkxServiceRequest::Rollback, status, why), EkxServiceReply::Status);
  EXPECT_EQ(status.withdrawn, std::nullopt);
  control.Stop();
}

/// Each value in turn is of another type, or gone.
TEST(ServiceControl, AReplyThatIsNoneIsToldAndNotBelieved) {
  SkxServiceStatus status;
  std::string why;
  const auto read = [&](const std::string& reply) {
    const std::span bytes(reinterpret_cast<const unsigned char*>(reply.data()), reply.size());
    return KxService_ReadReply(bytes, status, why);
  };
  const nlohmann::json whole = {{"status", nlohmann::json::parse(KxServiceStatus_Json(SomeStatus()))}};
  EXPECT_EQ(read(whole.dump()), EkxServiceReply::Status) << why;
  EXPECT_EQ(read("{\"refused\": \"no\"}"), EkxServiceReply::Refused);
  for (const char* const reply : {"", "{}", "[]", "{\"status\": {}}", "{\"refused\": 1}", "{\"status\""}) {
    EXPECT_EQ(read(reply), EkxServiceReply::Unusable) << reply;
    EXPECT_THAT(why, HasSubstr("cannot be used")) << reply;
  }
  const nlohmann::json flat = whole.flatten();
  for (const auto& [pointer, value] : flat.items()) {
    nlohmann::json other = whole;
    other[nlohmann::json::json_pointer(pointer)] = nlohmann::json::array({1});
    EXPECT_EQ(read(other.dump()), EkxServiceReply::Unusable) << pointer;
  }
  nlohmann::json newer = whole;
  newer["status"]["toldByALaterVersion"] = true;
  EXPECT_EQ(read(newer.dump()), EkxServiceReply::Status);
}

}  // namespace
