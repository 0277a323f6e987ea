// Those who ask what applies, all day long: each on a thread, in its own way.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Common_CPP/util/base.h"

/// What the readers of a process have done so far. Those that prepare wait where they are ahead of `allowed`: they are
/// so much quicker than all else that nothing else would happen in their day.
struct SkxDayCount {
  std::atomic<uint64_t> allowed = 0;  ///< evaluations
  std::atomic<uint64_t> evaluations = 0;
  std::atomic<uint64_t> walks = 0;     ///< of these, those that read the live sections and asked the agent
  std::atomic<uint64_t> prepared = 0;  ///< publications
  std::atomic<uint64_t> unstable = 0;  ///< answers that publications came too quickly: told, and no decision
};

class CkxDayReaders {
 public:
  /// `tool` is a file of this machine, which some of the evaluations are about.
  CkxDayReaders(KxWString tool, SkxDayCount& count) : _tool(std::move(tool)), _count(count) {}
  ~CkxDayReaders() { Stop(); }
  CkxDayReaders(const CkxDayReaders&) = delete;
  CkxDayReaders& operator=(const CkxDayReaders&) = delete;

  void Start(size_t walkers, size_t preparers);
  void Stop();

  /// The first wrong answer, "" as long as there is none.
  std::string Fault() const { return _isWrong ? _fault : ""; }

 private:
  void Walk();
  void Prepare();
  std::string DecideByOnePublication(void* token);
  void Fail(const std::string& fault);

  const KxWString _tool;
  SkxDayCount& _count;
  std::atomic<bool> _isOver = false;
  std::atomic<bool> _isClaimed = false;
  std::atomic<bool> _isWrong = false;
  std::string _fault;  // whole before it is wrong
  std::vector<std::thread> _threads;
};

/// One evaluation in a process of its own, which opens everything anew: what is wrong with it.
std::string KxDay_AskOnce(const KxWString& tool);
