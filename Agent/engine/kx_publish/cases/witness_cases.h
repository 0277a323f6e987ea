// Cases to begin with, made of witnesses: of each policy the smallest target that it decides, and that it does. They
// say what policies do now, and nothing of what they are meant to do.
#pragma once

#include "Agent/engine/kx_publish/witness/witness.h"

class CkxWitnessCases {
 public:
  /// `witnesses` outlive this.
  explicit CkxWitnessCases(const CkxWitnesses& witnesses);

  /// A case, or where there is none a comment that says why.
  void Add(size_t policy, const SkxWitness& witness);

  size_t Count() const { return _count; }

  /// The case file, with its last line end; one without a case is none.
  std::string Text() const;

 private:
  struct Block {
    std::string text;
    bool isCase;
  };

  nlohmann::ordered_json Expectation(size_t policy, const SkxWitness& witness) const;

  const CkxWitnesses& _witnesses;
  std::map<std::string, size_t> _policiesOfName;
  std::vector<Block> _blocks;
  size_t _count = 0;
};
