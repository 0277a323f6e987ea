// Where a file came from, in a few lines for a person.
//
//   setup.exe
//     brought by      chrome.exe (C:\Program Files\Google\Chrome\Application\chrome.exe)
//     for             S-1-5-21-1-2-3-1001
//     on              2022-06-17 18:40:00 UTC
//     kind            Internet
//     downloaded from https://example.com/setup.exe
#pragma once

#include <kx_util/src_email_data.h>
#include <kx_util/supplemental_file_data.h>

#include <iosfwd>
#include <string>

/// One part of what is kept with a file, and why it is refused where it is.
template <class Record>
struct SkxKeptPart {
  EkxKeptRecord kept = EkxKeptRecord::Absent;
  Record record{};
  std::string error;
};

struct SkxKeptParts {
  std::string file;  ///< as the person called it
  SkxKeptPart<CkxFileOrigin> agent;
  SkxKeptPart<CkxDrvXmlData> driver;
  SkxKeptPart<KxWString> uri;
  SkxKeptPart<CkxSrcEmailData> email;
  std::shared_ptr<const CkxFileOrigin> origin;  ///< what a policy is told; null: nothing
};

void KxOriginText_Write(const SkxKeptParts& parts, std::ostream& out);
