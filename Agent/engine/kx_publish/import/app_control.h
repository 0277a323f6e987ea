// Code integrity policies of the system's newer kind: an XML of file rules and signers, which signing scenarios refer
// to as allowed or denied, in user mode and for drivers.
#pragma once

#include "Agent/engine/kx_publish/import/applocker.h"

/// All files as one policy: base policies, each of which must allow what runs, and the supplements of one. False with
/// the fault for a file that is no such policy, and for files that no one order can say together.
bool KxAppControl_Read(const std::vector<SkxImportXml>& files, const SkxImportMachine& machine,
                       SkxImportedPolicy& policy, std::string& fault);
