#include <kx_util/shared_embedded_script.h>

#include <utility>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"

CkxShBufEmbeddedScript::CkxShBufEmbeddedScript(const CkxShBufEmbeddedScript& other) {
  const unsigned char* cursor = other._record;
  unsigned long remaining = other._recordBytes;
  FromBuffer(cursor, remaining);
}

CkxShBufEmbeddedScript& CkxShBufEmbeddedScript::operator=(const CkxShBufEmbeddedScript& other) {
  return *this = CkxShBufEmbeddedScript(other);
}

bool CkxShBufEmbeddedScript::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  const unsigned char* const begin = cursor;
  const unsigned long left = remaining;
  const unsigned char* id = nullptr;
  CkxBufReader in(cursor, remaining);
  const bool read = in.Bytes(sizeof(GUID), id) && in.ObfuscatedText(_firstText) && in.Text(_firstData) &&
                    in.ObfuscatedText(_secondText) && in.Text(_secondData) && in.Text(_thirdData);
  _record = read ? begin : nullptr;
  _recordBytes = read ? left - remaining : 0;
  return read;
}

GUID CkxShBufEmbeddedScript::ScriptId() const { return _record != nullptr ? KxBytes_Load<GUID>(_record) : GUID{}; }
