// Source records as JSON: the same fields under the same names as in XML (kx_util/origin/source_fields.h), a child
// element under its name with a small letter in front.
//
//   CkxFileOrigin origin;
//   KxOriginDocument_Read(json, "/origin", origin);          // throws CkxDocumentFault
//   const ordered_json written = KxOriginDocument_Write(origin);
//
// A member that is not there has its default. What is written leaves out what is as by default, but for the numbers
// that XML always has.
#pragma once

#include <kx_util/file_origin.h>

#include <nlohmann/json_fwd.hpp>
#include <string>

/// Of the record classes: SkxFileSrcFile, SkxFileSrcCopySource, CkxFileSrcProcess, CkxFileSrcInstaller,
/// CkxFileSrcParentInstaller, CkxFileSrcUser, CkxFileSrcPackage, CkxFileOrigin. `record` is changed only as a whole.
template <class Record>
void KxOriginDocument_Read(const nlohmann::json& value, const std::string& pointer, Record& record);

struct SkxOriginDocumentOptions {
  bool withFile = true;          ///< of an origin, the part about the file itself
  bool withSourceTypes = false;  ///< of processes
};

template <class Record>
nlohmann::ordered_json KxOriginDocument_Write(const Record& record, const SkxOriginDocumentOptions& options = {});
