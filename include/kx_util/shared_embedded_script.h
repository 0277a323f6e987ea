// The script that a policy carries: handed on to whatever runs it, not interpreted here.
//
//   GUID of the script
//   first text       obfuscated
//   first data       plain: u32 byte count, bytes, in place
//   second text      obfuscated
//   second data      plain
//   third data       plain
#pragma once

#include <kx_util/shared_buffer.h>

/// A script that a policy carries.
class KX_UTIL_API CkxShBufEmbeddedScript {
 public:
  CkxShBufEmbeddedScript() = default;
  CkxShBufEmbeddedScript(CkxShBufEmbeddedScript&&) noexcept = default;
  CkxShBufEmbeddedScript& operator=(CkxShBufEmbeddedScript&&) noexcept = default;

  /// Reads the record of `other` again, so that each script owns, and wipes, un-obfuscated texts of its own.
  CkxShBufEmbeddedScript(const CkxShBufEmbeddedScript& other);
  CkxShBufEmbeddedScript& operator=(const CkxShBufEmbeddedScript& other);

  /// Reads the script and moves on; false for one that is malformed.
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// The null GUID before a script was read.
  GUID ScriptId() const;
  const CkxShBufString& FirstText() const { return _firstText; }
  const CkxShBufString& FirstData() const { return _firstData; }
  const CkxShBufString& SecondText() const { return _secondText; }
  const CkxShBufString& SecondData() const { return _secondData; }
  const CkxShBufString& ThirdData() const { return _thirdData; }

 private:
  CkxShBufString _firstText;
  CkxShBufString _firstData;
  CkxShBufString _secondText;
  CkxShBufString _secondData;
  CkxShBufString _thirdData;
  const unsigned char* _record = nullptr;  // begins with the script's id
  unsigned long _recordBytes = 0;
};
