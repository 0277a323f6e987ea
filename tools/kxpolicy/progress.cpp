#include "tools/kxpolicy/progress.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <system_error>
#include <thread>

#include "Common_CPP/util/trace.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLines{250};

/// What is on the terminal: whole lines, or the progress line below them, or somebody's half line.
struct Screen {
  std::mutex mutex;
  std::streambuf* progress;  ///< where its line goes
  size_t shown = 0;          ///< columns of it
  bool isInLine = false;     ///< what was written last has not ended its line
  std::function<bool()> isInForeground;

  void Show(const std::string& line) {
    if (!IsOurs()) return;
    const std::string padding(line.size() < shown ? shown - line.size() : 0, ' ');
    Put("\r" + line + padding + std::string(padding.size(), '\b'));
    shown = line.size();
  }

  void Clear() {
    if (shown != 0 && IsOurs()) Put("\r" + std::string(shown, ' ') + "\r");
    shown = 0;
  }

 private:
  /// What was shown is left to whoever has the terminal now.
  bool IsOurs() {
    const bool isOurs = !isInForeground || isInForeground();
    if (!isOurs) shown = 0;
    return isOurs;
  }

  void Put(const std::string& text) const {
    progress->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    progress->pubsync();
  }
};

/// In place of a stream's own buffer, for as long as this lives: whatever is written has the terminal's line to itself,
/// and is there at once.
class SharedTerminal : public std::streambuf {
 public:
  SharedTerminal(std::ostream& stream, Screen& screen) : _stream(stream), _own(stream.rdbuf()), _screen(screen) {
    stream.flush();
    Exchange(this);
  }
  ~SharedTerminal() override { Exchange(_own); }
  SharedTerminal(const SharedTerminal&) = delete;
  SharedTerminal& operator=(const SharedTerminal&) = delete;

 protected:
  int_type overflow(int_type unit) override {
    if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
    const char letter = traits_type::to_char_type(unit);
    return xsputn(&letter, 1) == 1 ? unit : traits_type::eof();
  }

  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::lock_guard lock(_screen.mutex);
    if (size == 0) return 0;
    _screen.Clear();
    _screen.isInLine = text[size - 1] != '\n';
    const std::streamsize written = _own->sputn(text, size);
    return _own->pubsync() == 0 ? written : 0;
  }

  int sync() override {
    const std::lock_guard lock(_screen.mutex);
    return _own->pubsync();
  }

 private:
  /// The state of the stream is what it was: a new buffer would make a broken stream a good one.
  void Exchange(std::streambuf* buffer) {
    const std::ios::iostate state = _stream.rdstate();
    _stream.rdbuf(buffer);
    if (state != std::ios::goodbit) _stream.setstate(state);
  }

  std::ostream& _stream;
  std::streambuf* const _own;
  Screen& _screen;
};

}  // namespace

class CkxProgress::Line {
 public:
  Line(const CkxProgress& progress, SkxStreams& streams) : _progress(progress), _after(streams.progressAfter) {
    _screen.progress = streams.err.rdbuf();
    _screen.isInForeground = streams.isInForeground;
    _err.emplace(streams.err, _screen);
    if (streams.outIsTerminal) _out.emplace(streams.out, _screen);
    _thread = std::thread([this] { Run(); });
  }

  ~Line() {
    {
      const std::lock_guard lock(_screen.mutex);
      _isOver = true;
    }
    _over.notify_one();
    _thread.join();
    _screen.Clear();
  }

 private:
  void Run() {
    std::unique_lock lock(_screen.mutex);
    for (auto wait = _after; !_over.wait_for(lock, wait, [this] { return _isOver; }); wait = kBetweenLines) {
      try {
        if (!_screen.isInLine) _screen.Show(Text());
      } catch (const std::bad_alloc&) {  // a line less
      }
    }
  }

  std::string Text() const {
    const std::string text = std::string("kxpolicy: ") + _progress._done.load(std::memory_order_relaxed);
    const uint64_t items = _progress._items.load(std::memory_order_relaxed);
    const uint64_t bytes = _progress._bytes.load(std::memory_order_relaxed);
    if (bytes != 0 && _progress._allBytes != 0) {
      const double share = static_cast<double>(bytes) / static_cast<double>(_progress._allBytes);
      return text + " " + std::to_string(static_cast<int>(std::min(share, 1.0) * 100)) + "%";  // a file may grow
    }
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - _begin).count();
    return text + (items != 0 ? " " + std::to_string(items) : "") + ", " + std::to_string(seconds) + " s";
  }

  const CkxProgress& _progress;
  const std::chrono::milliseconds _after;
  const steady_clock::time_point _begin = steady_clock::now();
  Screen _screen;
  std::optional<SharedTerminal> _err, _out;
  std::condition_variable _over;
  bool _isOver = false;
  std::thread _thread;
};

CkxProgress::CkxProgress(SkxStreams& streams, const char* done, const CkxInput* input)
    : _done(done), _allBytes(input != nullptr ? input->Size() : 0) {
  const bool isTyped = input != nullptr && input->IsStandardInput() && streams.inIsTerminal;
  const bool isTraced = kx_trace_detail::IsOn(EkxTraceLevel::Error);  // whose lines go past the streams
  if (!streams.errIsTerminal || isTyped || isTraced) return;
  try {
    _line = std::make_unique<Line>(*this, streams);
  } catch (const std::system_error&) {  // no thread to be had: the work is done without
  }
}

CkxProgress::~CkxProgress() = default;
