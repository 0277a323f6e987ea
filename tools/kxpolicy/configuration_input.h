// Where settings and messages are asked for, and on whose behalf: options that several verbs have.
#pragma once

#include <kx_util/evaluation_fault.h>
#include <kx_util/policy_source.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "tools/kxpolicy/refusal.h"
#include "tools/kxpolicy/tool.h"

struct SkxConfigurationOptions {
  std::string image;
  std::string user;

  void AddTo(const CkxVerbOptions& verb);
};

/// In force for its lifetime, on the thread that made it. A machine where nothing is published is refused by the
/// system.
class CkxConfigurationInput {
 public:
  explicit CkxConfigurationInput(const SkxConfigurationOptions& options);
  ~CkxConfigurationInput();
  CkxConfigurationInput(const CkxConfigurationInput&) = delete;
  CkxConfigurationInput& operator=(const CkxConfigurationInput&) = delete;

  void* Token() const;

  /// Why the last question was not answered, `refusal` having listened; empty when it was, found or not.
  std::string Fault(const CkxRefusal& refusal);

  /// What to exit with, where answers alone would give `code`: a live question that was not answered counts more.
  EkxExit Code(EkxExit code) const { return _isAnyUnanswered ? EkxExit::SystemRefused : code; }

 private:
  struct Held;
  const std::unique_ptr<Held> _held;
  bool _isAnyUnanswered = false;
};

/// "found" false and, when it is not empty, "error".
nlohmann::ordered_json KxConfiguration_NotFound(const std::string& fault);
