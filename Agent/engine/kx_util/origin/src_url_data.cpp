#include <kx_util/src_url_data.h>

#include <algorithm>

#include "Agent/engine/kx_util/attribute/data_signature.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

using Bytes = std::span<const unsigned char>;

bool FailUrl(const char* reason) {
  KxTrace(EkxTraceLevel::Error, CkxSrcUrlData::ClassName(), reason);
  return false;
}

Bytes UriBytes(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

/// Nothing for a text that UTF-8 has no form of.
std::optional<std::string> WideCharToUtf8(CkxTextView text) {
  std::string utf8 = KxText_ToUtf8(text);
  return KxText_FromUtf8(utf8) == text.ToString() ? std::optional(std::move(utf8)) : std::nullopt;
}

void AppendSize(std::vector<unsigned char>& record, size_t size) {
  for (int shift = 0; shift < 32; shift += 8) record.push_back(static_cast<unsigned char>(size >> shift));
}

/// The two fields of a record in place, the URI without its zero; nothing for bytes that are no record from end to end.
struct UrlFields {
  Bytes uri;
  Bytes signature;
};
std::optional<UrlFields> SplitUrlRecord(Bytes record) {
  const unsigned char* next = record.data();
  unsigned long left = static_cast<unsigned long>(record.size());
  CkxByteCursor in(next, left);
  uint32_t uriBytes = 0;
  uint32_t signatureBytes = 0;
  const unsigned char* uri = nullptr;
  const unsigned char* signature = nullptr;
  const bool isSplit = record.size() <= CkxSrcUrlData::kMaxRecordBytes && in.U32(uriBytes) && in.Bytes(uriBytes, uri) &&
                       in.U32(signatureBytes) && in.Bytes(signatureBytes, signature) && left == 0;
  // One zero, which ends the URI, and a URI before it.
  if (!isSplit || uriBytes < 2 || std::find(uri, uri + uriBytes, 0) != uri + uriBytes - 1) return std::nullopt;
  return UrlFields{{uri, uriBytes - 1}, {signature, signatureBytes}};
}

}  // namespace

void CkxSrcUrlData::Empty() {
  _uri.Empty();
  _signature.clear();
}

bool CkxSrcUrlData::ToBytes(std::vector<unsigned char>& record, EkxSignatureForm form) noexcept {
  return KxEntry(false, [&] {
    if (_uri.IsEmpty()) return FailUrl("ERROR: URI is empty.");
    const std::optional<std::string> uri = WideCharToUtf8(_uri.View());
    if (!uri) return FailUrl("ERROR: WideCharToUtf8 failed.");
    return _GetDataSignature(UriBytes(*uri), form) && _Serialize(UriBytes(*uri), record);
  });
}

bool CkxSrcUrlData::_GetDataSignature(Bytes uri, EkxSignatureForm form) {
  std::optional<std::vector<unsigned char>> made = KxDataSignature_Make(uri, form);
  if (!made) return FailUrl("ERROR: Failed to get expected signature.");
  _signature = std::move(*made);
  return true;
}

bool CkxSrcUrlData::_Serialize(Bytes uri, std::vector<unsigned char>& record) const {
  const size_t size = 4 + uri.size() + 1 + 4 + _signature.size();
  const bool hasZero = std::find(uri.begin(), uri.end(), 0) != uri.end();
  if (hasZero || size > kMaxRecordBytes) return FailUrl("ERROR: Failed to serialize uri or signature");
  record.clear();
  record.reserve(size);
  AppendSize(record, uri.size() + 1);
  record.insert(record.end(), uri.begin(), uri.end());
  record.push_back(0);
  AppendSize(record, _signature.size());
  record.insert(record.end(), _signature.begin(), _signature.end());
  return true;
}

bool CkxSrcUrlData::FromBytes(Bytes record, EkxSignatureCheck check) noexcept {
  Empty();
  return KxEntry(false, [&] {
    const std::optional<UrlFields> fields = SplitUrlRecord(record);
    const std::optional<KxWString> uri =
        fields ? KxText_FromUtf8({reinterpret_cast<const char*>(fields->uri.data()), fields->uri.size()})
               : std::nullopt;
    if (!uri) return FailUrl("ERROR: Failed to deserialize data.");
    if (!KxDataSignature_Holds(fields->uri, fields->signature, check, ClassName())) return false;
    std::vector<unsigned char> signature(fields->signature.begin(), fields->signature.end());
    _uri = *uri;
    _signature = std::move(signature);
    return true;
  });
}
