#include "bench/recorded_starts.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Common_CPP/util/text.h"

namespace {

KxWString TextOf(const nlohmann::json& event, const char* key) {
  return KxText_FromUtf8(event.value(key, std::string())).value_or(KxWString());
}

std::unique_ptr<CkxTargetInfoProcess> RecordedStart(const nlohmann::json& event) {
  SkxFileFacts file;
  file.path = TextOf(event, "image");
  const std::string sha256 = event.value("hashes", nlohmann::json::object()).value("sha256", std::string());
  if (!sha256.empty()) file.hashes = {{KXW("SHA256"), *KxText_FromUtf8(sha256)}};
  if (event.contains("signer")) file.signers = {{TextOf(event, "signer"), EkxPublisherStatus::Valid}};
  file.versionInfo = {{KXW("CompanyName"), TextOf(event, "company")}, {KXW("ProductName"), TextOf(event, "product")}};
  SkxProcessFacts process;
  process.commandLine = TextOf(event, "commandLine");
  return std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(process), nullptr);
}

std::unique_ptr<CkxTargetInfoProcess> MadeUpStart(uint32_t number) {
  SkxFileFacts file;
  file.path = *KxText_FromUtf8("C:\\Program Files\\Company\\Product " + std::to_string(number % 50) + "\\bin\\tool-" +
                               std::to_string(number) + ".exe");
  file.hashes = {{KXW("SHA256"), KXW("0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF")}};
  file.signers = {{KXW("Microsoft Windows"), EkxPublisherStatus::Valid}};
  file.versionInfo = {{KXW("ProductName"), KXW("A product of some name")}};
  SkxProcessFacts process;
  process.commandLine = KXW("\"") + file.path + KXW("\" --type=renderer --field-trial=1234,5678 --lang=en-US");
  return std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(process), nullptr);
}

}  // namespace

std::string KxBench_DataFolder() {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  return folder != nullptr && *folder != '\0' ? std::string(folder) + "/" : std::string();
}

KxBenchStarts KxBench_Starts(size_t atLeast) {
  KxBenchStarts starts;
  const std::string folder = KxBench_DataFolder();
  std::ifstream in(folder.empty() ? std::string() : folder + "process_events.jsonl");
  for (std::string line; std::getline(in, line);) starts.push_back(RecordedStart(nlohmann::json::parse(line)));
  for (uint32_t i = 0; starts.size() < atLeast; ++i) starts.push_back(MadeUpStart(i));
  return starts;
}
