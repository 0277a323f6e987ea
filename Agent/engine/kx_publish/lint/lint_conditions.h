// The conditions of targets, as far as they tell which of two takes more. For lint_takes.cpp.
#pragma once

#include <memory>
#include <span>

#include "Agent/engine/kx_publish/lint/lint_inclusion.h"

/// What a target asks for in one of its fields. It looks into the record.
class IkxLintCondition {
 public:
  virtual ~IkxLintCondition() = default;

  /// It is met whatever is asked about.
  virtual bool IsAlwaysMet() const = 0;

  /// Whether all that meets `narrower`, of the same field, meets this; false where that is not certain.
  virtual bool Takes(const IkxLintCondition& narrower, CkxLintWork& work) const = 0;

  virtual void Demands(const KxFeatureVisit& visit) const = 0;
  virtual void Offers(const KxFeatureVisit& visit) const = 0;
};

/// `field` is the name of the field in the target, `bytes` all of it.
std::unique_ptr<IkxLintCondition> KxLint_Condition(std::string_view field, std::span<const unsigned char> bytes);
