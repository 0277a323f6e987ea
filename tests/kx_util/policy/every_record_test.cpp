// What holds for a record of every kind (tests/data/every-kind.json): it is one as a whole and in no part, any byte of
// it may be wrong, and what is read from a copy outlives it.
#include <gtest/gtest.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/target_info_kinds.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <functional>
#include <set>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_util/store/section_records.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/policy_documents.h"
#include "tests/support/section_source.h"

namespace {

using nlohmann::json;

/// What an object that was read says of itself, as often as it is asked; empty when nothing could be read.
using AnyObject = std::function<std::string()>;

AnyObject ReadPolicy(const CkxExactBytes& bytes, bool copy) {
  const std::shared_ptr<CkxShBufPolicy> policy = KxTest_ReadPolicy(bytes, copy);
  if (policy == nullptr) return nullptr;
  return [policy] {
    std::string answers = KxTest_DebugText(*policy);
    if (!policy->WithTargets()) return answers;
    const auto& withTargets = static_cast<const CkxShBufPolicyWithTargets&>(*policy);
    for (const CkxTargetInfoPtr& target :
         {KxTest_Program(KXW("C:\\a.exe")), CkxTargetInfoPtr(new CkxTargetInfoElevator(2, KXW("http://x"), nullptr))}) {
      SkxTriggerPolicyShortInfo info;
      answers += withTargets.IsApplicableTarget(*target, info) ? "yes" : "no";
      answers.append(reinterpret_cast<const char*>(&info), sizeof(info));
    }
    return answers + (withTargets.HasRealTargets() ? "yes" : "no");
  };
}

AnyObject ReadGroup(const CkxExactBytes& bytes, bool copy) {
  const std::shared_ptr<CkxShBufAppGroup> group =
      CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(bytes.As<SkxAppGroupBufHeader>(), copy));
  if (group == nullptr) return nullptr;
  return [group] {
    CkxUtilStr text;
    group->EnumTargets(
        [](const CkxShBufTarget& target, void* all) {
          target.AppendDebugMsg(*static_cast<CkxUtilStr*>(all));
          return true;
        },
        &text);
    return std::to_string(group->Id().Data1) + " " + std::to_string(group->BufferSize()) + KxText_ToUtf8(text.View());
  };
}

AnyObject AlertObject(const CkxExactBytes& bytes, bool copy) {
  const std::shared_ptr<CkxShBufCustGuiBase> alert =
      CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(bytes.As<SkxAlertBufHeader>(), copy));
  if (alert == nullptr) return nullptr;
  return [alert] {
    std::string answers = std::to_string(static_cast<unsigned>(alert->AlertType())) + " " +
                          std::to_string(alert->Id().Data1) + " " + std::to_string(alert->BufferSize());
    if (alert->AlertType() != EkxAlertType::Dialog) return answers;
    const auto& dialog = static_cast<const CkxShBufCustGuiDialog&>(*alert);
    return answers + " " + std::to_string(static_cast<uint32_t>(dialog.DlgType())) + " " +
           KxText_ToUtf8(dialog.HtmlPathView());
  };
}

struct AnyRecord {
  std::string name;
  KxBytes bytes;
  AnyObject (*read)(const CkxExactBytes& bytes, bool copy);
  size_t slack;  // of an obfuscated text that ends it, up to four bytes may not be there
};

void AddSection(std::vector<AnyRecord>& records, const std::string& name,
                const std::optional<SkxPolicyImage::Bytes>& bytes, const SkxRecordKind& kind,
                AnyObject (*read)(const CkxExactBytes&, bool), size_t slack) {
  CkxSectionRecords section(kind, {bytes->data(), bytes->size()});
  while (const unsigned char* const record = section.Next()) {
    uint32_t size = 0;
    std::memcpy(&size, record + 4, sizeof(size));
    records.push_back({name, KxBytes(record, record + size), read, slack});
  }
}

const std::set<std::string> kEndObfuscated = {"executable", "com", "registryKey", "service"};

/// Of the document's policies, the one with a target of every type once for each of them.
std::vector<AnyRecord> Records() {
  std::ifstream file("tests/data/every-kind.json", std::ios::binary);
  json document = json::parse(file, nullptr, true, true);
  std::vector<AnyRecord> records;
  const json policies = document["policies"];
  for (const json& policy : policies) {
    json one = policy;
    const json targets = policy.value("targets", json::array({nullptr}));
    for (const json& target : targets) {
      if (!target.is_null()) one["targets"] = json::array({target});
      document["policies"] = json::array({one});
      const std::string type = target.is_null() ? "" : target["type"];
      const std::string action = policy["action"];
      const bool endsObfuscated = action == "configuration" || kEndObfuscated.count(type) != 0;
      AddSection(records, action + " " + type, KxTest_Compile(document.dump()).policies, kKxPolicyRecord, ReadPolicy,
                 endsObfuscated && target.size() != 1 ? 4 : 0);
    }
  }
  AddSection(records, "group", KxTest_Compile(document.dump()).appGroups, kKxAppGroupRecord, ReadGroup, 0);
  AddSection(records, "alert", KxTest_Compile(document.dump()).alerts, kKxAlertRecord, AlertObject, 0);
  return records;
}

/// So many bytes, of which the size at that place says the same.
KxBytes Framed(KxBytes bytes, size_t size, size_t header = 0) {
  bytes.resize(size);
  for (size_t i = 0; i < 4; ++i) bytes[header + 4 + i] = static_cast<unsigned char>((size - header) >> (8 * i));
  return bytes;
}

/// Where the last target of the record begins; at its end when it has none.
size_t TargetOf(const KxBytes& bytes) {
  const KxBytes magic = {0x27, 0x24, 0x23, 0x22};
  return static_cast<size_t>(std::find_end(bytes.begin(), bytes.end(), magic.begin(), magic.end()) - bytes.begin());
}

class EveryRecord : public testing::Test {
 protected:
  const std::vector<AnyRecord> _records = Records();

 private:
  CkxSectionSource _empty;
  const CkxPolicySourceScope _scope{_empty};
};

TEST_F(EveryRecord, IsOneAsAWholeAndInNoPart) {
  std::set<std::string> actions;
  std::set<std::string> types;
  for (const AnyRecord& record : _records) {
    const size_t blank = record.name.find(' ');
    if (blank == std::string::npos) continue;  // a group or an alert
    actions.insert(record.name.substr(0, blank));
    types.insert(record.name.substr(blank));
  }
  EXPECT_EQ(actions.size(), std::size(kKxPolicyKinds));
  EXPECT_EQ(types.size(), std::size(kKxTargetKinds) + 1) << "and policies without targets";
  for (const AnyRecord& record : _records) {
    SCOPED_TRACE(record.name);
    const size_t whole = record.bytes.size();
    const size_t target = TargetOf(record.bytes);
    for (const bool copy : {false, true}) {
      for (size_t size = 8; size <= whole + 1; ++size) {  // and with a byte after its last field
        const KxBytes part = Framed(record.bytes, size);
        const size_t slack = target == whole ? record.slack : 0;
        EXPECT_EQ(record.read(CkxExactBytes(part), copy) != nullptr, size + slack >= whole) << size << " of " << whole;
        if (size < target + 28) continue;
        EXPECT_EQ(record.read(CkxExactBytes(Framed(part, size, target)), copy) != nullptr, size + record.slack >= whole)
            << size << " of " << whole << ", which its target says too";
      }
      KxBytes other = record.bytes;
      other[0] ^= 0xF;
      EXPECT_EQ(record.read(CkxExactBytes(other), copy), nullptr) << "the magic of others";
    }
  }
  EXPECT_EQ(CkxShBufPolicy::PolicyFromBuffer(nullptr, false), nullptr);
  EXPECT_EQ(CkxShBufAppGroup::AppGroupFromBuffer(nullptr, false), nullptr);
  EXPECT_EQ(CkxShBufCustGuiBase::CustGuiFromBuffer(nullptr, false), nullptr);
}

TEST_F(EveryRecord, MayBeWrongInAnyByteAndACopyAnswersAsTheRecordDoes) {
  for (const AnyRecord& record : _records) {
    SCOPED_TRACE(record.name);
    size_t read = 0;
    // The policy around the targets is the same for all of them.
    const bool isTargetNews = record.name.starts_with("block ") && &record != &_records.front();
    for (size_t at = isTargetNews ? TargetOf(record.bytes) : 0; at < record.bytes.size(); ++at) {
      if (at >= 4 && at < 8) continue;  // whoever hands out a record vouches for its size
      for (const unsigned mask : {0xFFu, 0x01u, 0x80u}) {
        if (isTargetNews && mask == 0x80u) continue;
        CkxExactBytes bytes(record.bytes);
        bytes.Data()[at] = static_cast<unsigned char>(bytes.Data()[at] ^ mask);
        const AnyObject inPlace = record.read(bytes, false);
        const AnyObject copy = record.read(bytes, true);
        ASSERT_EQ(inPlace == nullptr, copy == nullptr) << at;
        if (inPlace == nullptr) continue;
        ++read;
        EXPECT_EQ(inPlace(), copy()) << at;
      }
    }
    EXPECT_GE(read, 16u * 2) << "ids, flags and texts may say anything";
  }
}

TEST_F(EveryRecord, IsOutlivedByACopy) {
  for (const AnyRecord& record : _records) {
    SCOPED_TRACE(record.name);
    CkxExactBytes bytes(record.bytes);
    const AnyObject copy = record.read(bytes, true);
    const std::string before = copy();
    EXPECT_EQ(record.read(bytes, false)(), before);
    std::fill_n(bytes.Data(), bytes.remaining, static_cast<unsigned char>(0xCC));
    EXPECT_EQ(copy(), before);
  }
}

/// A cursor goes on where the record ended, and stays where it was when there is none.
template <class AnyRecord>
void ExpectTaken(const KxBytes& record) {
  KxBytes more = record;
  more.push_back(0);
  CkxExactBytes bytes(more);
  AnyRecord object;
  EXPECT_TRUE(object.FromBuffer(bytes.cursor, bytes.remaining));
  EXPECT_EQ(bytes.remaining, 1u);
  EXPECT_EQ(bytes.Consumed(), record.size());
  CkxExactBytes part(record, record.size() - 1);
  AnyRecord other;
  EXPECT_FALSE(other.FromBuffer(part.cursor, part.remaining)) << "its size reaches past the end";
  const unsigned char* nothing = nullptr;
  unsigned long remaining = 100;
  EXPECT_FALSE(AnyRecord().FromBuffer(nothing, remaining));
}

TEST_F(EveryRecord, IsTakenFromACursor) {
  const auto bytes = [this](const char* name) {
    return std::find_if(_records.begin(), _records.end(), [&](const AnyRecord& r) { return r.name == name; })->bytes;
  };
  ExpectTaken<CkxShBufPolicyBlock>(bytes("block url"));
  ExpectTaken<CkxShBufAppGroup>(bytes("group"));
  ExpectTaken<CkxShBufCustGuiDialog>(bytes("alert"));
}

}  // namespace
