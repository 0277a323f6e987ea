#include "Common_CPP/access_token/open_token_win.h"
#include "Common_CPP/token_security_attributes/native_token_attributes.h"
#include "Common_CPP/util/system_library_win.h"

namespace {

constexpr int kTokenSecurityAttributes = 39;

/// Null where the system has none of that name.
struct TokenFunctions {
  const CkxSystemLibrary ntdll{L"ntdll.dll"};

  using QueryToken = LONG NTAPI(HANDLE, int, void*, ULONG, ULONG*);
  using SetToken = LONG NTAPI(HANDLE, int, void*, ULONG);
  using GetVersion = LONG NTAPI(OSVERSIONINFOW*);

  QueryToken* const query = ntdll.Find<QueryToken>("NtQueryInformationToken");
  SetToken* const set = ntdll.Find<SetToken>("NtSetInformationToken");
  GetVersion* const version = ntdll.Find<GetVersion>("RtlGetVersion");
};

const TokenFunctions& TokenCalls() {
  static const TokenFunctions functions;
  return functions;
}

long QueryTokenAttributes(void* token, std::span<unsigned char> answer, uint32_t& needed) {
  if (TokenCalls().query == nullptr) return kKxStatusNotSupported;
  const CkxOpenToken open(token, TOKEN_QUERY);
  if (!open) return kKxStatusInvalidHandle;
  ULONG size = 0;
  const LONG status =
      TokenCalls().query(open.Get(), kTokenSecurityAttributes, answer.data(), static_cast<ULONG>(answer.size()), &size);
  needed = size;
  return status;
}

long SetTokenAttributes(void* token, const SkxTokenRequestRecord& request) {
  if (TokenCalls().set == nullptr) return kKxStatusNotSupported;
  const CkxOpenToken open(token, TOKEN_QUERY | TOKEN_ADJUST_DEFAULT);
  if (!open) return kKxStatusInvalidHandle;
  SkxTokenRequestRecord record = request;
  return TokenCalls().set(open.Get(), kTokenSecurityAttributes, &record, sizeof(record));
}

SkxOsVersion TrueOsVersion() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (TokenCalls().version == nullptr || TokenCalls().version(&version) < 0) return {};
  return {version.dwMajorVersion, version.dwMinorVersion};
}

}  // namespace

const SkxNativeTokenAttributes& KxNativeTokenAttributes_OfSystem() {
  static constexpr SkxNativeTokenAttributes kTable = {QueryTokenAttributes, SetTokenAttributes, TrueOsVersion};
  return kTable;
}
