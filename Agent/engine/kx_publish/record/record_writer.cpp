#include "Agent/engine/kx_publish/record/record_writer.h"

void CkxRecordWriter::ObfuscatedText(CkxTextView text) {
  CountedText(text, static_cast<unsigned char>(~KxUtil_ObfuscationKey()));
}

void CkxRecordWriter::CountedText(CkxTextView text, unsigned char mask) {
  if (text.IsEmpty()) return U32(0);
  const size_t bytes = text.Size() * sizeof(WCHAR);
  U32(static_cast<uint32_t>(bytes + sizeof(WCHAR)));
  const size_t begin = _bytes.size();
  _bytes.insert(_bytes.end(), text.Bytes(), text.Bytes() + bytes);
  Zeros(sizeof(WCHAR));
  for (size_t at = begin; at < _bytes.size(); ++at) _bytes[at] ^= mask;
}

void CkxRecordWriter::Sid(const CkxSid& sid) {
  U32(static_cast<uint32_t>(sid.Size()));
  _bytes.insert(_bytes.end(), sid.Bytes(), sid.Bytes() + sid.Size());
}
