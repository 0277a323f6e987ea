// Sections that are file mappings: rewritten in place, whole pages, never writable by a reader.
#include <gtest/gtest.h>

#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/Common_CPP/runtime_folder_scope.h"

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
