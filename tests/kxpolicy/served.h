// `kxpolicy serve` as the agent of a test's machine.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/kxpolicy/run_tool.h"

/// `serve` on a thread of its own, until it is told to stop.
class CkxServedImage {
 public:
  explicit CkxServedImage(const std::string& image, const std::vector<std::string>& options = {})
      : _thread([this, image, options] { Run(image, options); }) {}
  ~CkxServedImage() { Stop(); }
  CkxServedImage(const CkxServedImage&) = delete;
  CkxServedImage& operator=(const CkxServedImage&) = delete;

  SkxToolRun Stop() {
    _stop = true;
    if (_thread.joinable()) _thread.join();
    return {_code, _out.str(), _err.str()};
  }

 private:
  void Run(const std::string& image, const std::vector<std::string>& options) {
    std::istringstream in;
    SkxStreams streams = {in, _out, _err};
    streams.waitForStop = [this](uint32_t) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      return _stop.load();
    };
    std::vector<std::string> arguments = {"serve", image, "--verbose"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    _code = KxPolicy_Run(arguments, streams);
  }

  std::ostringstream _out;
  std::ostringstream _err;
  std::atomic<bool> _stop = false;
  int _code = -1;
  std::thread _thread;  // begins when all else is there
};
