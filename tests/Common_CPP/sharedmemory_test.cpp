#include "Common_CPP/sharedmemory/sharedmemory.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

std::span<const unsigned char> ContentBytes(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// The bytes up to the NULs that fill the last page on Windows.
std::string Text(std::span<const unsigned char> bytes) {
  std::string text(bytes.begin(), bytes.end());
  text.resize(text.find_last_not_of('\0') + 1);
  return text;
}

std::string Content(const CkxSharedMemoryView& view) { return Text(view.Bytes()); }

std::string ContentOf(CkxTextView name) {
  CkxSharedMemoryView view;
  return view.Open(name) ? Content(view) : "error " + std::to_string(KxLastError_Get());
}

TEST(SharedMemory, APublishedSectionIsReadUntilItIsRemoved) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(KXW("Section"));
  const std::string large(70000, 'x');  // more than a page, and no multiple of one
  const std::string huge(1000001, 'y');
  for (const std::string& content : {std::string("a few bytes"), large, huge, std::string()}) {
    EXPECT_EQ(ContentOf(name), "error 2") << "not yet";
    CkxSharedMemoryPublication publication;
    ASSERT_TRUE(publication.Publish(name, ContentBytes(content)));
    EXPECT_TRUE(ContentOf(name) == content);
    publication.Remove();
    EXPECT_EQ(ContentOf(name), "error 2") << "no more";
    publication.Remove();
  }
}

TEST(SharedMemory, PublishingAgainReplacesAndAnotherNameTakesTheEarlierAway) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(KXW("Index"));
  CkxSharedMemoryPublication first;
  CkxSharedMemoryPublication second;
  ASSERT_TRUE(first.Publish(name, ContentBytes("the first and longer")));
  ASSERT_TRUE(first.Publish(name, ContentBytes("the second")));
  EXPECT_EQ(ContentOf(name), "the second");
  ASSERT_TRUE(second.Publish(name, ContentBytes("another's")));
  EXPECT_EQ(ContentOf(name), "another's");
  ASSERT_TRUE(second.Publish(scope.Name(KXW("Other")), ContentBytes("elsewhere")));
  first.Remove();
  EXPECT_EQ(ContentOf(name), "error 2");
  EXPECT_EQ(ContentOf(scope.Name(KXW("Other"))), "elsewhere");
}

TEST(SharedMemory, OwnersMoveAndAViewOutlivesTheName) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(KXW("Section"));
  CkxSharedMemoryPublication made;
  ASSERT_TRUE(made.Publish(name, ContentBytes("moved")));
  CkxSharedMemoryPublication publication = std::move(made);
  CkxSharedMemoryView opened;
  ASSERT_TRUE(opened.Open(name));
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(name));
  view = CkxSharedMemoryView(std::move(opened));
  EXPECT_TRUE(opened.Bytes().empty());
  made.Remove();
  EXPECT_EQ(ContentOf(name), "moved") << "removed by its owner alone";
  publication.Remove();
  EXPECT_EQ(Content(view), "moved");
  view.Close();
  EXPECT_TRUE(view.Bytes().empty());
}

TEST(SharedMemory, AHeldSectionTellsWhetherItIsInForceAndOpensItsNeighbours) {
  const CkxRuntimeFolderScope scope;
  const KxWString index = scope.Name(KXW("Index"));
  const KxWString other = scope.Name(KXW("Other"));
  CkxSharedMemoryPublication publication;
  CkxSharedMemoryPublication neighbour;
  CkxHeldSection held;
  EXPECT_FALSE(held.IsInForce());
  EXPECT_TRUE(held.Bytes().empty());
  EXPECT_FALSE(held.Open(index));
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  ASSERT_TRUE(publication.Publish(index, ContentBytes("the first")));
  ASSERT_TRUE(neighbour.Publish(other, ContentBytes("beside")));
  ASSERT_TRUE(held.Open(index));
  EXPECT_EQ(Text(held.Bytes()), "the first");
  EXPECT_TRUE(held.IsInForce());
  CkxSharedMemoryView view;
  EXPECT_TRUE(view.OpenBeside(held, other));
  EXPECT_EQ(Content(view), "beside");
  EXPECT_FALSE(view.OpenBeside(held, scope.Name(KXW("None"))));
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  EXPECT_TRUE(view.Bytes().empty());
  EXPECT_FALSE(view.OpenBeside(held, KXW("")));

  ASSERT_TRUE(publication.Publish(index, ContentBytes("the other")));
  EXPECT_TRUE(!held.IsInForce() || Text(held.Bytes()) == "the other");
  EXPECT_FALSE(held.Open(scope.Name(KXW("None"))));
  EXPECT_FALSE(held.IsInForce()) << "what was held before it is let go";
  ASSERT_TRUE(held.Open(index));
  EXPECT_TRUE(held.IsInForce());
  EXPECT_EQ(Text(held.Bytes()), "the other");
}

TEST(SharedMemory, NamesStayApart) {
  const CkxRuntimeFolderScope scope;
  const KxWString names[] = {KXW("a"),   KXW("A"),    KXW("a."),     KXW("a/b"),          KXW("a%2Fb"), KXW("a_b"),
                             KXW(".."),  KXW("../a"), KXW("a%5Cb"),  KXW("\u00fc"),       KXW("u"),     KXW(".kx"),
                             KXW("%00"), KXW(" "),    KXW("\u4e2d"), KXW("\xD83D\xDE00"), KXW("a\nb"),  KXW("~")};
  std::vector<CkxSharedMemoryPublication> publications(std::size(names));
  for (size_t i = 0; i < std::size(names); ++i) {
    ASSERT_TRUE(publications[i].Publish(scope.Name(names[i]), ContentBytes("content " + std::to_string(i)))) << i;
  }
  for (size_t i = 0; i < std::size(names); ++i) {
    EXPECT_EQ(ContentOf(scope.Name(names[i])), "content " + std::to_string(i));
  }
}

TEST(SharedMemory, ANameThatIsNone) {
  const CkxRuntimeFolderScope scope;
  const KxWString cut = scope.Name(KXW("Section")) + WCHAR{0} + KXW("x");
  CkxSharedMemoryPublication real;
  ASSERT_TRUE(real.Publish(scope.Name(KXW("Section")), ContentBytes("real")));
  for (const CkxTextView name : {CkxTextView(), CkxTextView(KXW("")), CkxTextView(cut)}) {
    CkxSharedMemoryPublication publication;
    CkxSharedMemoryView view;
    EXPECT_FALSE(publication.Publish(name, ContentBytes("other")));
    KxLastError_Set(kKxErrorSuccess);
    EXPECT_FALSE(view.Open(name));
    EXPECT_NE(KxLastError_Get(), kKxErrorSuccess);
    EXPECT_NE(KxLastError_Get(), kKxErrorFileNotFound) << "a fault, and not an absent section";
  }
  EXPECT_EQ(ContentOf(scope.Name(KXW("Section"))), "real");
}

}  // namespace
