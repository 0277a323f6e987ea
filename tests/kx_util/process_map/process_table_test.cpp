// The table against a plain map of lists: as many numbers as it takes to grow, to wrap and to collide.
#include "Agent/engine/kx_util/process_map/process_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <map>
#include <random>

namespace {

/// A table and what it must hold: of each number its records, oldest first.
class TableTwins {
 public:
  explicit TableTwins(uint32_t pids, uint32_t apart) : _pids(pids), _apart(apart) {}

  void Add(uint32_t at, int64_t creationTime) {
    auto record = std::make_unique<SkxProcessRecord>();
    record->data.Pid = at * _apart;
    record->data.CreationTime = creationTime;
    record->data.ZeroTouchState = at ^ 0xFFFFFFFF;
    _model[record->data.Pid].push_back(record.get());
    _order.push_back(record.get());
    _table.Reserve(_order.size());
    _table.Append(std::move(record));
  }

  void TakeOutOne(uint32_t at, size_t which) {
    const auto records = _model.find(at * _apart);
    if (records == _model.end() || records->second.empty()) return;
    const auto taken = std::next(records->second.begin(), static_cast<int>(which % records->second.size()));
    SkxProcessRecord* const record = *taken;
    records->second.erase(taken);
    _order.remove(record);
    EXPECT_EQ(_table.TakeOut(*record).get(), record);
  }

  void Change(uint32_t at, EkxRestrictedAccessTargetType type) {
    const SkxProcessSlot* const slot = _table.Find(at * _apart);
    if (slot == nullptr) return;
    CkxProcessData& data = slot->Record().data;
    data.RestrDlgFlags[static_cast<size_t>(type)] = 1;
    data.RestrEventFlags[5 - static_cast<size_t>(type)] = 1;
    data.IsSetupExe = true;
    _table.Renew(slot->Record());
    EXPECT_TRUE(slot->RestrDlgFlag(type) && slot->IsSetupExe());
  }

  void Check() const {
    ASSERT_EQ(_table.Count(), _order.size());
    const SkxProcessRecord* next = _table.Oldest();
    for (const SkxProcessRecord* record : _order) {
      ASSERT_EQ(next, record) << "the order in which they came";
      next = next->newer;
    }
    for (uint32_t at = 0; at < _pids; ++at) CheckPid(at * _apart);
  }

 private:
  void CheckPid(uint32_t pid) const {
    const auto records = _model.find(pid);
    const bool isThere = records != _model.end() && !records->second.empty();
    const SkxProcessSlot* const slot = _table.Find(pid);
    ASSERT_EQ(slot != nullptr, isThere) << pid;
    ASSERT_EQ(_table.Find({pid, -1}), nullptr);
    if (!isThere) return;
    ASSERT_EQ(&slot->Record(), records->second.front()) << "the oldest of its number";
    const CkxProcessData& data = slot->Record().data;
    ASSERT_EQ(slot->Pid(), pid);
    ASSERT_EQ(slot->ZeroTouchState(), data.ZeroTouchState);
    ASSERT_EQ(slot->IsSetupExe(), data.IsSetupExe);
    for (uint32_t type = 0; type < kKxRestrictedAccessTargetTypes; ++type) {
      ASSERT_EQ(slot->RestrDlgFlag(EkxRestrictedAccessTargetType{type}), data.RestrDlgFlags[type] != 0);
      ASSERT_EQ(slot->RestrEventFlag(EkxRestrictedAccessTargetType{type}), data.RestrEventFlags[type] != 0);
    }
    for (const SkxProcessRecord* record : records->second) {
      const auto first = std::ranges::find(records->second, record->data.CreationTime,
                                           [](const SkxProcessRecord* other) { return other->data.CreationTime; });
      ASSERT_EQ(&_table.Find({pid, record->data.CreationTime})->Record(), *first);
    }
  }

  const uint32_t _pids;
  const uint32_t _apart;
  CkxProcessTable _table;
  std::map<uint32_t, std::list<SkxProcessRecord*>> _model;
  std::list<SkxProcessRecord*> _order;
};

TEST(ProcessTable, FindsWhatAPlainMapFinds) {
  for (const auto& [pids, apart] : {std::pair(8U, 1U), {60U, 4U}, {700U, 4U}, {700U, 0x10000U}}) {
    SCOPED_TRACE(pids);
    std::mt19937 random(pids * apart);
    TableTwins twins(pids, apart);
    for (int step = 0; step < 20'000 && !testing::Test::HasFatalFailure(); ++step) {
      const auto at = static_cast<uint32_t>(random() % pids);
      switch (random() % (step % 5000 < 2500 ? 5 : 7)) {  // fills, and empties again
        case 0:
        case 1:
          twins.Add(at, static_cast<int64_t>(random() % 3));
          break;
        case 2:
          twins.Change(at, EkxRestrictedAccessTargetType{static_cast<uint32_t>(random() % 6)});
          break;
        default:
          twins.TakeOutOne(at, random());
      }
      if (step % 500 == 0) twins.Check();
    }
    twins.Check();
  }
}

}  // namespace
