// Facts with which a condition holds: one builder a kind of condition. Each gives several ways, the plainest first,
// since a policy that comes before may take a description that is made in one way and not in another.
//
// Facts are the members of a target document, and a few of their parts, which `KxFacts_Document` puts together:
//
//   "~folder", "~name"    of the path
//   "~arguments"          of the command line
//   "~carrier"            the program that the file was started by: the file is what is linked to that process
#pragma once

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/model/target_model.h"

using KxFacts = nlohmann::json;
using KxWays = std::vector<KxFacts>;

/// `usual`: the name to be preferred where the test accepts it.
KxWays KxFacts_FileName(const SkxFileNameTest& test, const KxWString& usual);
KxWays KxFacts_Location(const SkxLocationTest& test);

/// Of a text under one key, or of one under the key of an object.
KxWays KxFacts_Text(const SkxTextTest& test, const char* key);
KxWays KxFacts_NamedText(const SkxNamedTextTest& test, const char* object);

KxWays KxFacts_Version(const SkxVersionBounds& bounds, const char* key);
KxWays KxFacts_NamedVersion(const SkxVersionBounds& bounds, const char* object, const char* name);
KxWays KxFacts_Publishers(const KxElements<SkxPublisherTest>& publishers);
KxWays KxFacts_Owners(const KxElements<CkxSid>& owners);

/// Of an application package: all of it in one, since its lists are one fact.
KxWays KxFacts_Package(const SkxAppPackageTarget& target);
KxWays KxFacts_Origin(const SkxOriginTest& test);
KxWays KxFacts_AdminTask(uint32_t task);

/// Users of the scope `sddl`.
KxWays KxFacts_UserScope(const KxWString& sddl);

/// `facts` and then `more`, whose values count where both have one.
void KxFacts_Add(KxFacts& facts, const KxFacts& more);

/// The target document that they are.
KxFacts KxFacts_Document(KxFacts facts);
