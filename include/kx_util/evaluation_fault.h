// Why a question has no answer.
//
// The library answers with true and false, and false has two meanings that a privilege manager must not mix up: "asked,
// and it is not so", and "could not be asked". The second is a fault: out of memory, a section that is refused, an
// agent that does not answer, an evaluation that costs more than it may. A fault never becomes an answer: it ends the
// evaluation, whoever watches is told (`IkxEvaluationObserver::OnFault`), and a host can ask for it.
#pragma once

#include <string_view>

#include "Common_CPP/util/base.h"

/// What kept an answer from being one.
enum class EkxEvaluationFault : unsigned char {
  None,
  OutOfMemory,
  WorkLimit,            ///< the evaluation was given up: it cost more than `KxUtil_SetWorkLimit` allows
  SectionRefused,       ///< a published section could not be opened, or somebody else may have written it
  UserUnknown,          ///< the agent did not answer, or it could not be told whose policies to ask for
  PublicationUnstable,  ///< publications replaced each other faster than one could be read
  Malformed,            ///< the frame of a record is damaged: what follows it cannot be read
  TargetChanged,        ///< the file that is judged was changed meanwhile: its facts are not of one file
  TargetUnreadable,  ///< the file that is judged fails to be read, or the system refuses to tell what is kept with it
};

/// The trace line of a fault, for instance "ERROR: Out of memory"; empty for `None`.
KX_UTIL_API std::string_view KxUtil_FaultText(EkxEvaluationFault fault) noexcept;

/// The fault that the last question of this thread ended with; `None` when it was answered. A question is any operation
/// of the store, and any matcher that is called on its own.
KX_UTIL_API EkxEvaluationFault KxUtil_LastFault() noexcept;

/// What became of a question about a target, for hosts that must not take "could not be asked" for "nothing applies".
enum class EkxEvaluationOutcome : unsigned char {
  PolicyApplies,
  NoPolicyApplies,   ///< all policies of the user were asked
  NothingPublished,  ///< there is no policy on this machine
  NotAnswered,       ///< `KxUtil_LastFault` says why
};

/// How much one evaluation may cost, in units of work: about one for each text unit compared, each record looked at and
/// each 16 bytes hashed for it. The default, `kKxDefaultWorkLimit`, takes seconds; a hostile set of policies would take
/// hours. For the whole process, from the next evaluation on.
inline constexpr uint64_t kKxDefaultWorkLimit = uint64_t{1} << 31;
KX_UTIL_API void KxUtil_SetWorkLimit(uint64_t units) noexcept;
KX_UTIL_API uint64_t KxUtil_WorkLimit() noexcept;

/// The largest file, in bytes, that is hashed for an evaluation. A larger one has no hash, which is no fault: the trace
/// and whoever watches are told, and a policy that asks for one does not match. For the whole process, from the next
/// file on.
inline constexpr uint64_t kKxDefaultHashLimit = uint64_t{1} << 30;
KX_UTIL_API void KxUtil_SetHashLimit(uint64_t bytes) noexcept;
KX_UTIL_API uint64_t KxUtil_HashLimit() noexcept;
