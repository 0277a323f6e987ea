// When policies are prepared for many decisions: preparing takes as long as some hundred of them.
#pragma once

/// What a judge does with its policies before it is asked.
enum class EkxPrepare : unsigned char {
  AtOnce,
  WhenItPays,  ///< for the rest, once more has been asked than preparing takes
  Never,       ///< of what may change from one question to the next, and where each step is watched
};
