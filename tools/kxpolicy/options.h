// The verbs of the command and their options. The parser behind them is known to options.cpp and outline.cpp alone: its
// headers take seconds to compile.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/kxpolicy/outline/outline.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI
enum class EkxExit : int;
struct SkxStreams;

/// What is asked of an option beside its value. A handle; the option is the verb's.
class CkxOption {
 public:
  explicit CkxOption(CLI::Option* option) : _option(option) {}

  CkxOption Required() const;
  CkxOption OneOf(std::initializer_list<const char*> values) const;
  CkxOption Needs(const CkxOption& other) const;
  CkxOption Excludes(const CkxOption& other) const;
  CkxOption NotEmpty() const;      ///< a script whose variable is not set must not ask for less
  CkxOption OneValueEach() const;  ///< of several values, each has the option's name before it

  /// What its value names, for help and for shells that complete it; a text where nothing is said. "-" may stand for
  /// it.
  CkxOption File() const;
  CkxOption Folder() const;
  CkxOption Path() const;  ///< either

  bool IsGiven() const;  ///< once the arguments are parsed

 private:
  CLI::Option* _option;
};

/// Where a verb declares its options: "--name", or "name" for one that is told by its place. What the values go to must
/// live as long as the verb's action. A handle too.
class CkxVerbOptions {
 public:
  explicit CkxVerbOptions(CLI::App& app) : _app(&app) {}

  CkxOption Add(const char* name, std::string& value, const std::string& help) const;
  CkxOption Add(const char* name, std::vector<std::string>& values, const std::string& help) const;
  CkxOption Add(const char* name, std::optional<uint32_t>& value, const std::string& help) const;
  CkxOption AddFlag(const char* name, bool& value, const std::string& help) const;

  /// A flag that may have a value, behind "=": "--name{alone}" is `alone` without one.
  CkxOption AddFlag(const char* name, std::string& value, const std::string& help) const;
  CkxVerbOptions AddChoice(const char* name, const char* help) const;  ///< options of which exactly one is given
  void Footer(const char* text) const;                                 ///< of the verb's help

 private:
  CLI::App* _app;
};

using KxVerbAction = std::function<EkxExit(SkxStreams&)>;

struct SkxVerbGroup;

/// One verb: `declare` adds its options and returns what runs once they are parsed. Or the name of a group, behind
/// which one of its verbs is told; that has no options.
struct SkxVerb {
  const char* name;
  const char* summary;
  KxVerbAction (*declare)(const CkxVerbOptions& verb);
  const SkxVerbGroup* group = nullptr;
};

struct SkxVerbGroup {
  std::span<const SkxVerb> verbs;
};

/// Where the library's trace goes, whatever the verb; both empty: as it was.
struct SkxTraceOptions {
  std::string level;
  std::string file;
};

/// What the arguments ask for. Without an action everything is said already, and `code` is what to exit with.
struct SkxParsedArguments {
  KxVerbAction action;
  EkxExit code;
  SkxTraceOptions trace{};
};

/// Help goes to the output; a fault of the arguments to the error stream, which is unusable arguments.
SkxParsedArguments KxOptions_Parse(std::span<const SkxVerb> verbs, const std::vector<std::string>& arguments,
                                   SkxStreams& streams);

/// The same verbs as plain values.
SkxVerbOutline KxOptions_Outline(std::span<const SkxVerb> verbs);
