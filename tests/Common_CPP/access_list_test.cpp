#include "Common_CPP/file/access_list.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

const CkxSid kEveryone = *CkxSid::FromUtf8("S-1-1-0");

/// Administrators may do everything, and everybody is denied to write: protected, and with the folder's rights.
const Bytes kDenying = {
    1, 0, 0x04, 0x94, 0,    0, 0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 20,   0, 0, 0,                 //
    2, 0, 0x34, 0,    2,    0, 0,    0,                                                        //
    1, 0, 0x14, 0,    2,    0, 0,    0, 1, 1, 0, 0, 0, 0, 0, 1, 0,    0, 0, 0,                 //
    0, 3, 0x18, 0,    0xFF, 1, 0x1F, 0, 1, 2, 0, 0, 0, 0, 0, 5, 0x20, 0, 0, 0, 0x20, 2, 0, 0,  //
};

/// The same with an entry in front that allows 0x100198 to everybody, and the mark 0x0100 beside 0x0400.
const Bytes kGranting = {
    1, 0, 0x04, 0x95, 0,    0, 0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 20,   0, 0, 0,                 //
    2, 0, 0x48, 0,    3,    0, 0,    0,                                                        //
    0, 0, 0x14, 0,    0x98, 1, 0x10, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0,    0, 0, 0,                 //
    1, 0, 0x14, 0,    2,    0, 0,    0, 1, 1, 0, 0, 0, 0, 0, 1, 0,    0, 0, 0,                 //
    0, 3, 0x18, 0,    0xFF, 1, 0x1F, 0, 1, 2, 0, 0, 0, 0, 0, 5, 0x20, 0, 0, 0, 0x20, 2, 0, 0,  //
};

TEST(AccessList, TheGrantComesFirst) { EXPECT_EQ(KxAccessList_WithGrant(kDenying, kEveryone, 0x100198), kGranting); }

TEST(AccessList, WhatLiesElsewhereIsTheListAllTheSame) {
  Bytes descriptor = kDenying;
  descriptor.insert(descriptor.begin() + 20, 12, 0xCC);  // an owner, say
  descriptor[4] = 20;
  descriptor[16] = 32;
  descriptor.resize(descriptor.size() + 5, 0xCC);  // and something behind the list
  EXPECT_EQ(KxAccessList_WithGrant(descriptor, kEveryone, 0x100198), kGranting);
  descriptor = kDenying;
  descriptor[22] = 0x3C;  // a list with room in it, which is not passed on
  descriptor.resize(descriptor.size() + 8, 0);
  EXPECT_EQ(KxAccessList_WithGrant(descriptor, kEveryone, 0x100198), kGranting);
}

TEST(AccessList, ToNoListNothingIsAdded) {
  for (size_t size = 0; size < kDenying.size(); ++size) {
    const Bytes exact(kDenying.begin(), kDenying.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_EQ(KxAccessList_WithGrant(exact, kEveryone, 1), std::nullopt) << "cut to " << size;
  }
  const struct {
    const char* what;
    size_t at;
    unsigned char value;
  } kRows[] = {
      {"without the mark of a list", 2, 0x00}, {"everybody may do everything", 16, 0},
      {"within the header", 16, 16},           {"behind the end", 17, 1},
      {"a list without a header", 22, 4},      {"shorter than its entries", 22, 0x30},
      {"longer than what is there", 22, 0x38}, {"one entry more", 24, 3},
      {"an entry without rights", 30, 4},      {"an entry that runs out", 50, 0x1C},
  };
  for (const auto& row : kRows) {
    Bytes descriptor = kDenying;
    descriptor[row.at] = row.value;
    EXPECT_EQ(KxAccessList_WithGrant(descriptor, kEveryone, 1), std::nullopt) << row.what;
  }
}

/// Up to 65,532 bytes, and not one entry more.
TEST(AccessList, IsFullAtSomePoint) {
  std::optional<Bytes> list =
      Bytes{1, 0, 4, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0, 0, 2, 0, 8, 0, 0, 0, 0, 0};
  size_t entries = 0;
  for (; list; ++entries) list = KxAccessList_WithGrant(*list, kEveryone, 1);
  EXPECT_EQ(entries - 1, (65'532u - 8) / 20);
}

TEST(AccessList, InheritedRightsGoOn) {
  for (const auto& [before, after] : {std::pair(0x84, 0x85), {0x94, 0x95}, {0x95, 0x95}, {0x90, 0x90}}) {
    Bytes descriptor = kDenying;
    descriptor[3] = static_cast<unsigned char>(before);
    KxAccessList_KeepInheriting(descriptor);
    EXPECT_EQ(descriptor[3], after);
    descriptor[3] = kDenying[3];
    EXPECT_EQ(descriptor, kDenying) << "nothing else";
  }
  Bytes cut(kDenying.begin(), kDenying.begin() + 19);
  KxAccessList_KeepInheriting(cut);
  EXPECT_EQ(cut, Bytes(kDenying.begin(), kDenying.begin() + 19));
}

}  // namespace
