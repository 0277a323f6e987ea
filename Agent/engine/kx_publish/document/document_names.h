// What the documents of a publication call by name: application groups and alerts, which may be named before they are
// defined.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Common_CPP/util/guid.h"

struct SkxGuidLess {
  bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};

struct SkxNamedThing {
  KxWString name;
  GUID id{};
  uint16_t alertType = 0;  ///< of an alert
};

enum class EkxNameClash { None, Name, Id };

/// Things of one kind, each with a name and an id of its own.
class CkxNameDirectory {
 public:
  CkxNameDirectory() = default;
  CkxNameDirectory(const CkxNameDirectory&) = delete;
  CkxNameDirectory& operator=(const CkxNameDirectory&) = delete;

  /// `thing` is added unless its name or its id is taken.
  EkxNameClash Add(SkxNamedThing thing);

  /// By its name, else by its id in text form. Null when there is none.
  const SkxNamedThing* Find(const KxWString& nameOrId) const;
  const SkxNamedThing* Find(const GUID& id) const;

  /// In the order in which they were added, in UTF-8.
  const std::vector<std::string>& Names() const { return _names; }

 private:
  std::map<KxWString, SkxNamedThing> _byName;
  std::map<GUID, const SkxNamedThing*, SkxGuidLess> _byId;  // of `_byName`
  std::vector<std::string> _names;
};

struct SkxDocumentNames {
  CkxNameDirectory groups;
  CkxNameDirectory alerts;
};
