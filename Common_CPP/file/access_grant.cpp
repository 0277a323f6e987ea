#include "Common_CPP/file/access_grant.h"

#include <utility>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/access_list.h"
#include "Common_CPP/file/native_access.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kGrantScope = "CkxSupplementalFileData";

/// To read and write extended attributes (0x18) and plain ones (0x180), and to wait for the file.
constexpr uint32_t kGrantedRights = 0x100198;

/// Open until it is kept elsewhere.
class OpenForGrant {
 public:
  explicit OpenForGrant(CkxTextView path) {
    if (!KxNativeAccess().open(path, _file)) _file = -1;
  }
  ~OpenForGrant() {
    if (_file != -1) KxNativeAccess().close(_file);
  }
  OpenForGrant(const OpenForGrant&) = delete;
  OpenForGrant& operator=(const OpenForGrant&) = delete;

  explicit operator bool() const { return _file != -1; }
  intptr_t Get() const { return _file; }
  intptr_t Release() { return std::exchange(_file, -1); }

 private:
  intptr_t _file = -1;
};

}  // namespace

CkxAccessGrant::~CkxAccessGrant() {
  if (_file == -1) return;
  const CkxLastErrorGuard guard;
  if (!KxNativeAccess().set(_file, _former)) {
    KxTrace(EkxTraceLevel::Error, kGrantScope, "ERROR: SetFileSecurity(", CkxTextView(_path),
            ") access restore failed. LastError=", KxLastError_Get());
  }
  KxNativeAccess().close(_file);
}

bool CkxAccessGrant::Ensure(CkxTextView path) {
  const CkxLastErrorGuard guard;  // the refusal that led here is what is told of
  if (_file != -1) return false;
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  KxWString name = path.ToString();
  OpenForGrant file(path);
  if (!user || !file) return false;
  std::vector<unsigned char> former;
  if (!KxNativeAccess().get(file.Get(), former)) {  // what could not be put back is not changed
    KxTrace(EkxTraceLevel::Error, kGrantScope, "ERROR: SetFileSecurity(", path,
            ") access restore failed. Original SecurityDescriptor is NULL.");
    return false;
  }
  KxAccessList_KeepInheriting(former);
  const auto granted = KxAccessList_WithGrant(former, *user, kGrantedRights);
  if (!granted || !KxNativeAccess().set(file.Get(), *granted)) return false;
  _former = std::move(former);
  _path = std::move(name);
  _file = file.Release();
  return true;
}
