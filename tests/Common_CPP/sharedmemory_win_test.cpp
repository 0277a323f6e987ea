// Sections that are file mappings: rewritten in place, whole pages, never writable by a reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/stranger_win.h"
#include "tests/support/trace_capture.h"

namespace {

using Bytes = std::vector<unsigned char>;

TEST(SharedMemoryWin, AnOpenViewSeesTheIndexRewritten) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Index");
  CkxSharedMemoryPublication publication;
  ASSERT_TRUE(publication.Publish(name, Bytes(384, 1)));
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(name));
  ASSERT_EQ(view.Bytes().size(), 4096u);
  ASSERT_TRUE(publication.Publish(name, Bytes(380, 2)));
  EXPECT_EQ(view.Bytes()[379], 2);
  EXPECT_EQ(view.Bytes()[380], 0) << "nothing of the longer one is left";
}

/// Each rewriting fills all words with its number, in both halves; there are so many that it takes its time.
TEST(SharedMemoryWin, RewritingGoesFromTheEndAWordAtATime) {
  constexpr size_t kWords = 8192;
  const CkxRuntimeFolderScope scope;
  CkxSharedMemoryPublication publication;
  const auto publish = [&](uint32_t number) {
    const std::vector<uint32_t> halves(2 * kWords, number);
    return publication.Publish(scope.Name(L"Index"),
                               {reinterpret_cast<const unsigned char*>(halves.data()), 8 * kWords});
  };
  ASSERT_TRUE(publish(1));
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(scope.Name(L"Index")));
  std::atomic<bool> done = false;
  int torn = 0;
  int backwards = 0;
  std::thread reader([&] {
    const auto* words = reinterpret_cast<const volatile uint64_t*>(view.Bytes().data());
    while (!done) {
      const uint64_t first = words[0];
      const uint64_t last = words[kWords - 1];
      for (const uint64_t word : {first, last}) {
        if (word >> 32 != (word & 0xFFFFFFFF)) ++torn;
      }
      if (last < first) ++backwards;
    }
  });
  for (uint32_t number = 2; number < 800; ++number) EXPECT_TRUE(publish(number));
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(backwards, 0) << "an older word behind a newer one";
}

TEST(SharedMemoryWin, AnotherSizeIsRefusedAndTheOldStays) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Section");
  CkxSharedMemoryPublication publication;
  ASSERT_TRUE(publication.Publish(name, Bytes(8192, 1)));
  for (const size_t size : {size_t{1}, size_t{4096}, size_t{8193}, size_t{100000}}) {
    EXPECT_FALSE(publication.Publish(name, Bytes(size, 2))) << size;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS}) << size;
  }
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(name));
  EXPECT_EQ(view.Bytes().size(), 8192u);
  EXPECT_EQ(view.Bytes()[0], 1);
}

TEST(SharedMemoryWin, AStrangersSectionIsRefusedByName) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Squatted");
  CkxStrangersAccess strangers;
  const CkxHandle squatted(
      CreateFileMappingW(INVALID_HANDLE_VALUE, strangers.Attributes(), PAGE_READWRITE, 0, 4096, name.c_str()));
  ASSERT_TRUE(squatted);
  const CkxTraceCapture trace;
  CkxSharedMemoryView view;
  EXPECT_FALSE(view.Open(name));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  CkxSharedMemoryPublication publication;
  EXPECT_FALSE(publication.Publish(name, Bytes(4096, 1)));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_THAT(trace.Texts(),
              testing::Each(testing::HasSubstr("Squatted] is not the agent's: its owner is S-1-5-21-9-9")));
  EXPECT_EQ(trace.Texts().size(), 2u);
}

TEST(SharedMemoryWin, AStrangerKeepsNoPublisherOff) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Publisher");
  CkxStrangersAccess strangers;
  const CkxHandle section(
      CreateFileMappingW(INVALID_HANDLE_VALUE, strangers.Attributes(), PAGE_READWRITE, 0, 1, name.c_str()));
  ASSERT_TRUE(section);
  CkxPublisherLock first;
  CkxPublisherLock second;
  EXPECT_TRUE(first.Acquire(name));
  EXPECT_FALSE(second.Acquire(name));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_BUSY});
  first.Release();
  EXPECT_TRUE(second.Acquire(name));
}

TEST(SharedMemoryWin, AViewIsReadOnly) {
  const CkxRuntimeFolderScope scope;
  CkxSharedMemoryPublication publication;
  ASSERT_TRUE(publication.Publish(scope.Name(L"Section"), Bytes(1)));
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(scope.Name(L"Section")));
  MEMORY_BASIC_INFORMATION region{};
  ASSERT_NE(VirtualQuery(view.Bytes().data(), &region, sizeof(region)), 0u);
  EXPECT_EQ(region.Protect, DWORD{PAGE_READONLY});
}

}  // namespace
