// What two publications differ in, record by record.
//
// Policies are known by their ids, one whose id changed by its name; groups and alerts by their ids. What documents say
// is compared as documents say it, so that a difference is told in the author's words; of a record that no document
// says (it cannot be read, or its bytes are of another make) the bytes are compared. An id that follows from the place
// of a target, and a number that follows from the place of a policy, are no differences of their own.
#pragma once

#include <vector>

#include "Agent/engine/kx_publish/compare/difference.h"
#include "Agent/engine/kx_publish/image/policy_image.h"

struct SkxImageDifferences {
  std::vector<SkxDifference> differences;
  std::vector<std::string> oldFaults;  ///< "policies.sec: byte 4: ...": what could not be compared but by its bytes
  std::vector<std::string> newFaults;
};

/// The images' applicable rules are well-formed, as those of one that was loaded are.
SkxImageDifferences KxImage_Differences(const SkxPolicyImage& was, const SkxPolicyImage& is);
