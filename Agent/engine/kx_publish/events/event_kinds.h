// The kinds of recorded process starts, one table a kind: which member of a target document is read from which fields.
//
// A field has several names, since those who hand events on rename them; the first that has a value counts.
#pragma once

#include <array>
#include <cstdint>
#include <span>

enum class EkxEventMeaning : uint8_t {
  Id,           ///< whatever it is
  Text,         ///< as it is
  Number,       ///< a number, or its digits, hexadecimal after "0x"
  Version,      ///< a text of a version resource, where it begins with a version
  Hash,         ///< hexadecimal, of the algorithm that the member is called after
  CoveredHash,  ///< the same; of a script, of all of its bytes
  Hashes,       ///< "SHA1=…,MD5=…", or an object of them
  Status,       ///< a word for the state of a signature
  Collection,   ///< a word for the kind of file that was about to run
};

struct SkxEventField {
  const char* member;  ///< its JSON pointer
  EkxEventMeaning meaning;
  std::array<const char*, 5> names;
};

/// Whom the process runs for. The SID counts where there is one. Else it is the starter's, unless the event has another
/// name for the user than for the starter: a name is no SID.
struct SkxEventUser {
  std::array<const char*, 2> sid;
  std::array<const char*, 2> names;  ///< that tell the user, and in the same order the starter
  std::array<const char*, 2> starterNames;
  std::array<const char*, 2> starterSid;
  std::array<const char*, 2> label;      ///< the SID of an integrity level
  std::array<const char*, 2> elevation;  ///< what the token is to the user's other one
};

/// What a field must begin with, where it is given, for the event to be a start.
struct SkxEventCondition {
  const char* field;
  const char* beginning;
};

struct SkxEventKind {
  const char* name;
  const char* meaning;
  const char* source;               ///< a word of the source's name; null: see `isTable`
  std::array<uint16_t, 6> numbers;  ///< of the events that are starts; 0 is none
  bool isTable = false;             ///< rows of a query's result, which have no numbers
  bool goesByExtension = false;     ///< whether it is a process or a file, where the event does not say
  std::array<SkxEventCondition, 4> conditions;
  SkxEventUser user;
  std::span<const SkxEventField> fields;
};

/// All of them.
std::span<const SkxEventKind> KxEventKinds();

/// Null for a name that is none.
const SkxEventKind* KxEventKind_Named(const char* name);
