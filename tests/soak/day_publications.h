// The publications of a day: each is told from every other by whatever decides in it, so that an answer made of two
// shows. The n-th blocks the program of a group by policy 2n and target n, and elevates everything else by 2n + 1; with
// the ids of one and the policies of another the program would be elevated, or nothing would apply.
#pragma once

#include <kx_util/policy_result.h>

#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"

inline constexpr uint32_t kDayPublications = 8;  ///< they come again

/// From 1 on. They differ in size too, from a few policies to a thousand.
SkxPolicyImage KxDay_Image(uint32_t number);

/// What is wrong with an answer about the program, "" for one that is of one publication: of `number`, or of any for 0.
std::string KxDay_FaultOf(const SkxTriggerPolicyShortInfo& info, uint32_t number = 0);
