// A callable as a function pointer and a context, for interfaces that take those.
//
//   auto isWanted = [&](const CkxShBufTarget& target) { return ...; };
//   policy.EnumTargets(KxCallback<const CkxShBufTarget&>(isWanted), &isWanted);
#pragma once

/// The function that goes with the address of `callable`, which is called for the length of the call it is given to.
template <class Subject, class Callable>
constexpr auto KxCallback(const Callable& /*callable*/) -> bool (*)(Subject, void*) {
  return [](Subject subject, void* context) -> bool { return (*static_cast<Callable*>(context))(subject); };
}
