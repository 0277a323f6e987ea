#include "Agent/engine/kx_publish/document/document_names.h"

#include "Common_CPP/util/text.h"

EkxNameClash CkxNameDirectory::Add(SkxNamedThing thing) {
  if (_byName.contains(thing.name)) return EkxNameClash::Name;
  if (_byId.contains(thing.id)) return EkxNameClash::Id;
  const KxWString name = thing.name;
  const SkxNamedThing& added = _byName.emplace(name, std::move(thing)).first->second;
  _byId.emplace(added.id, &added);
  _names.push_back(KxText_ToUtf8(name));
  return EkxNameClash::None;
}

const SkxNamedThing* CkxNameDirectory::Find(const KxWString& nameOrId) const {
  if (const auto named = _byName.find(nameOrId); named != _byName.end()) return &named->second;
  const std::optional<GUID> id = KxGuid_FromUtf8(KxText_ToUtf8(nameOrId));
  return id.has_value() ? Find(*id) : nullptr;
}

const SkxNamedThing* CkxNameDirectory::Find(const GUID& id) const {
  const auto found = _byId.find(id);
  return found != _byId.end() ? found->second : nullptr;
}
