// A description of what is of some type whatever its extension, because it is run as that.
#pragma once

#include <kx_util/target_info_process.h>

template <class Base, EkxPolicyTarget type>
class CkxTargetOfType : public Base {
 public:
  using Base::Base;
  EkxPolicyTarget TargetType() const override { return type; }
};

/// A process as the script that it runs.
using CkxHostedScript = CkxTargetOfType<CkxTargetInfoProcess, EkxPolicyTarget::Script>;
using CkxCarriedPackage = CkxTargetOfType<CkxTargetInfoFile, EkxPolicyTarget::Msi>;
using CkxCarriedLibrary = CkxTargetOfType<CkxTargetInfoFile, EkxPolicyTarget::Dll>;
