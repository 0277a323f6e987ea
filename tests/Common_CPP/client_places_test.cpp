// Who is served next, and who has to go, by account: without a server, and with the clock in the test's hands.
#include "Common_CPP/secure_ipc/client_places.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Places = CkxClientPlaces<int>;

constexpr const char* kAttacker = "S-1-22-1-4241";
constexpr const char* kOther = "S-1-22-1-1000";
const Places::Clock::time_point kBegin;

bool Add(Places& places, const char* account, int client = 0) {
  return places.Add(account, std::make_unique<int>(client));
}

TEST(ClientPlaces, AnAccountHasItsShareAndNoMoreMayWait) {
  Places places({.places = 16, .placesOfAccount = 4, .waitingOfAccount = 64});
  int taken = 0;
  for (int i = 0; i < 2500; ++i) {
    if (Add(places, kAttacker)) ++taken;
    places.Next(kBegin);
  }
  EXPECT_EQ(taken, 4 + 64);
  EXPECT_EQ(places.Served().size(), 4u);
  EXPECT_EQ(places.Waiting(), 64u);
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(Add(places, kOther, i));
    Places::Place* const place = places.Next(kBegin);
    ASSERT_NE(place, nullptr) << "at once";
    EXPECT_EQ(place->account, kOther);
    EXPECT_EQ(*place->client, i);
  }
  EXPECT_EQ(places.Next(kBegin), nullptr) << "both have their share";
}

TEST(ClientPlaces, WhoHasFewestIsNextAndEachInItsOrder) {
  Places places({.places = 4, .placesOfAccount = 3, .waitingOfAccount = 9});
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(Add(places, kAttacker, i));
  places.Next(kBegin);
  places.Next(kBegin);
  for (int i = 10; i < 12; ++i) EXPECT_TRUE(Add(places, kOther, i));
  for (const int expected : {10, 11}) {
    const Places::Place* const place = places.Next(kBegin);
    ASSERT_NE(place, nullptr);
    EXPECT_EQ(*place->client, expected);
  }
  EXPECT_EQ(places.Next(kBegin), nullptr) << "all places are taken";
  places.Release(places.Served().back());
  const Places::Place* const place = places.Next(kBegin);
  ASSERT_NE(place, nullptr);
  EXPECT_EQ(*place->client, 2) << "the first that still waits";
}

/// Somebody with any number of accounts waits in line like everybody else, and the line ends.
TEST(ClientPlaces, ManyAccountsGetInNobodysWay) {
  Places places({.places = 2, .placesOfAccount = 1, .waitingOfAccount = 4, .waiting = 20});
  const auto account = [](int i) { return "S-1-22-1-" + std::to_string(100000 + i); };
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(Add(places, account(i).c_str(), i));
  EXPECT_TRUE(Add(places, "S-1-5-18", 77));
  int served = -1;
  for (int turn = 0; turn < 11 && served != 77; ++turn) {
    const Places::Place* const place = places.Next(kBegin);
    ASSERT_NE(place, nullptr);
    served = *place->client;
    EXPECT_EQ(served, turn == 10 ? 77 : turn);
    places.Release(*place);
  }
  EXPECT_EQ(served, 77);

  for (int i = 0; i < 5; ++i) {
    for (int client = 0; client < 4; ++client) EXPECT_TRUE(Add(places, account(i).c_str()));
  }
  EXPECT_EQ(places.Waiting(), 20u);
  EXPECT_FALSE(Add(places, account(0).c_str())) << "its own line is full";
  EXPECT_TRUE(Add(places, "S-1-5-18")) << "in the place of one who has more";
  EXPECT_EQ(places.Waiting(), 20u);
}

TEST(ClientPlaces, TheSlowestMakesWayForThoseWhoseWayItIsIn) {
  Places places({.places = 3, .placesOfAccount = 2, .waitingOfAccount = 9});
  const auto serve = [&](const char* account, Places::Clock::duration at) {
    EXPECT_TRUE(Add(places, account));
    return places.Next(kBegin + at);
  };
  Places::Place* const first = serve(kAttacker, 2s);
  Places::Place* const second = serve(kAttacker, 1s);
  Places::Place* const others = serve(kOther, 0s);
  ASSERT_TRUE(first != nullptr && second != nullptr && others != nullptr);
  EXPECT_EQ(places.Slowest(), nullptr) << "nobody waits";
  EXPECT_TRUE(Add(places, kAttacker));
  EXPECT_EQ(places.Slowest(), second) << "the account's own, although another waited longer";
  second->waitedForSince.reset();
  EXPECT_EQ(places.Slowest(), first) << "who works is left alone";
  first->waitedForSince.reset();
  EXPECT_EQ(places.Slowest(), nullptr);

  first->waitedForSince = kBegin + 5s;
  places.ForgetWaiting();
  EXPECT_TRUE(Add(places, "S-1-22-1-7"));
  EXPECT_EQ(places.Slowest(), others) << "somebody who has none may have anybody's";
  others->waitedForSince.reset();
  EXPECT_EQ(places.Slowest(), first);
  places.Release(*first);
  EXPECT_EQ(places.Slowest(), nullptr) << "there is room";
}

}  // namespace
