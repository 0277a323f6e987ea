#include "Agent/engine/kx_util/store/held_publication.h"

CkxHeldPublication::CkxHeldPublication(const IkxPolicySource& source) {
  std::unique_ptr<const IkxPolicySource> pinned;
  const EkxSectionState state = source.Pin(pinned);
  const IkxPolicySource& publication = pinned != nullptr ? *pinned : source;
  for (size_t which = 0; which < _sections.size(); ++which) {
    SkxHeldSection& held = _sections[which];
    held.state = state;
    SkxSectionBytes section;
    if (state == EkxSectionState::Open) {
      held.state = publication.OpenSection(static_cast<EkxPolicySection>(which), section);
    }
    if (held.state == EkxSectionState::Open) held.bytes.assign(section.bytes.begin(), section.bytes.end());
  }
}

EkxSectionState CkxHeldPublication::OpenSection(EkxPolicySection which, SkxSectionBytes& section) const {
  const SkxHeldSection& held = _sections[static_cast<size_t>(which)];
  section.bytes = held.bytes;
  return held.state;
}
