// What became of a look at a process.
#pragma once

enum class EkxProcessLookup : unsigned char {
  Found,
  NoSuchProcess,  ///< there is none of that number, or it has ended
  Refused,        ///< it is there, and the system does not tell all that counts: never to be taken for "there is none"
};
