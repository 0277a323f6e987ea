// Application control policies of the system's older kind: an XML of rule collections, each about one kind of files,
// with rules by path, publisher and hash for users and groups, and exceptions.
#pragma once

#include "Agent/engine/kx_publish/import/import_xml.h"
#include "Agent/engine/kx_publish/import/path_pattern.h"

/// One file, read.
struct SkxImportXml {
  std::string file;
  SkxXmlNode root;
};

/// All files as one policy: the rules of collections about the same kind together. False with the fault for a file that
/// is no such policy; what cannot be understood in one is said of the rule, or in a note.
bool KxAppLocker_Read(const std::vector<SkxImportXml>& files, const SkxImportMachine& machine,
                      SkxImportedPolicy& policy, std::string& fault);
