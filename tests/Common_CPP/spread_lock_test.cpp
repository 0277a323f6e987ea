#include "Common_CPP/thread/spread_lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(SpreadLock, LetsReadersInTogetherAndWritersAlone) {
  CkxSpreadLock lock;
  int value = 0;
  {
    const CkxSpreadLock::Reading reading(lock);
    std::thread([&] { const CkxSpreadLock::Reading other(lock); }).join();  // else it waits for ever
  }
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 40; ++thread) {  // more than it has parts
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        int before = 0;
        {
          const CkxSpreadLock::Reading reading(lock);
          before = value;
          EXPECT_EQ(value, before);
        }
        const std::lock_guard changing(lock);
        EXPECT_GE(value, before);
        ++value;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(value, 40 * 200);
}

}  // namespace
