// Who is served when there are more clients than a server has places: each account has its share of them, so that what
// one does delays nobody else. No threads in here, and no clock but the one that is given.
//
//   CkxClientPlaces<Client> places({.places = 16, .placesOfAccount = 4, .waitingOfAccount = 64});
//   if (!places.Add("S-1-5-18", std::move(client))) ...    // turned away: too many of this account wait already
//   CkxClientPlaces<Client>::Place* place = places.Next(); // null: nobody who waits may have a place yet
//   places.Release(*place);
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

struct SkxPlaceLimits {
  size_t places = 16;            ///< served at once
  size_t placesOfAccount = 4;    ///< of these, by one account
  size_t waitingOfAccount = 64;  ///< clients of one account that have no place yet
  size_t waiting = 256;          ///< of all accounts together
};

template <class Client>
class CkxClientPlaces {
 public:
  using Clock = std::chrono::steady_clock;

  struct Place {
    std::unique_ptr<Client> client;
    std::optional<Clock::time_point> waitedForSince;  ///< the client keeps its server waiting
    std::string account;
  };

  explicit CkxClientPlaces(const SkxPlaceLimits& limits) : _limits(limits) {}

  /// False when the client is turned away.
  bool Add(const std::string& account, std::unique_ptr<Client> client) {
    const auto found = _accounts.find(account);
    const size_t own = found != _accounts.end() ? found->second.waiting.size() : 0;
    if (own >= _limits.waitingOfAccount || (_waiting >= _limits.waiting && !MakeRoom(own))) return false;
    _accounts[account].waiting.push_back({++_arrivals, std::move(client)});
    ++_waiting;
    return true;
  }

  /// Gives a place to a client of the account that has the fewest, if there is room for it: of such accounts, to the
  /// one that has waited longest. So many accounts of one person get in nobody's way.
  Place* Next(Clock::time_point now) {
    if (_served.size() >= _limits.places) return nullptr;
    auto next = _accounts.end();
    for (auto it = _accounts.begin(); it != _accounts.end(); ++it) {
      const Account& account = it->second;
      const bool mayHave = !account.waiting.empty() && account.places < _limits.placesOfAccount;
      if (mayHave && (next == _accounts.end() || IsBefore(account, next->second))) next = it;
    }
    if (next == _accounts.end()) return nullptr;
    _served.push_back({nullptr, now, next->first});
    _served.back().client = std::move(next->second.waiting.front().client);
    next->second.waiting.pop_front();
    ++next->second.places;
    --_waiting;
    return &_served.back();
  }

  void Release(const Place& place) {
    const auto account = _accounts.find(place.account);
    --account->second.places;
    if (account->second.places == 0 && account->second.waiting.empty()) _accounts.erase(account);
    _served.remove_if([&](const Place& other) { return &other == &place; });
  }

  /// Of the places whose end would let somebody in who waits, the one that was waited for longest. Null when there is
  /// none: everybody who waits can be let in, or all work.
  Place* Slowest() {
    if (_waiting == 0) return nullptr;
    Place* slowest = nullptr;
    for (Place& place : _served) {
      const bool isSlower = slowest == nullptr || place.waitedForSince < slowest->waitedForSince;
      if (place.waitedForSince && IsInTheWay(place) && isSlower) slowest = &place;
    }
    return slowest;
  }

  size_t Waiting() const { return _waiting; }
  std::list<Place>& Served() { return _served; }

  /// All who wait go; who has a place stays.
  void ForgetWaiting() {
    for (auto it = _accounts.begin(); it != _accounts.end();) {
      it->second.waiting.clear();
      it = it->second.places == 0 ? _accounts.erase(it) : std::next(it);
    }
    _waiting = 0;
  }

 private:
  struct Waiter {
    uint64_t arrival;
    std::unique_ptr<Client> client;
  };
  struct Account {
    size_t places = 0;
    std::list<Waiter> waiting;
  };

  static bool IsBefore(const Account& a, const Account& b) {
    return a.places != b.places ? a.places < b.places : a.waiting.front().arrival < b.waiting.front().arrival;
  }

  /// The account with the most who wait loses the last of them to an account with less than that.
  bool MakeRoom(size_t ofNewcomer) {
    const auto most = std::max_element(_accounts.begin(), _accounts.end(), [](const auto& a, const auto& b) {
      return a.second.waiting.size() < b.second.waiting.size();
    });
    if (most == _accounts.end() || most->second.waiting.size() <= ofNewcomer + 1) return false;
    most->second.waiting.pop_back();
    --_waiting;
    return true;
  }

  /// Where its account is at its limit, others of the account wait for the place; where the server is, anybody may who
  /// has fewer.
  bool IsInTheWay(const Place& place) const {
    const Account& own = _accounts.at(place.account);
    if (!own.waiting.empty() && own.places >= _limits.placesOfAccount) return true;
    if (_served.size() < _limits.places) return false;
    for (const auto& [name, account] : _accounts) {
      if (!account.waiting.empty() && account.places <= own.places) return true;
    }
    return false;
  }

  const SkxPlaceLimits _limits;
  std::map<std::string, Account> _accounts;  // those with a place, or who wait for one
  std::list<Place> _served;                  // pointers into it stay
  size_t _waiting = 0;
  uint64_t _arrivals = 0;
};
