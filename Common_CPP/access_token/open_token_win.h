// The system's token behind a caller's `void*`. For this folder, and for what is kept with tokens.
#pragma once

#include "Common_CPP/util/handle_win.h"

/// The token that the caller's `void*` stands for, open with at least TOKEN_QUERY.
class CkxOpenToken {
 public:
  explicit CkxOpenToken(void* token, DWORD access = TOKEN_QUERY) {
    if (token == nullptr) {
      OpenOwn(access);
    } else if (IsToken(token)) {
      _token = token;
    } else if (OpenProcessToken(token, access, _owned.Receive())) {
      _token = _owned.Get();
    }
  }

  explicit operator bool() const { return _token != nullptr; }
  HANDLE Get() const { return _token; }

 private:
  /// Opened as the process: the user that the thread runs as need not be allowed to look at its own token.
  void OpenOwn(DWORD access) {
    if (OpenThreadToken(GetCurrentThread(), access, TRUE, _owned.Receive()) ||
        (GetLastError() == ERROR_NO_TOKEN && OpenProcessToken(GetCurrentProcess(), access, _owned.Receive()))) {
      _token = _owned.Get();
    }
  }

  static bool IsToken(HANDLE token) {
    TOKEN_TYPE type{};
    DWORD size = 0;
    return GetTokenInformation(token, TokenType, &type, sizeof(type), &size) != 0;
  }

  CkxHandle _owned;
  HANDLE _token = nullptr;
};
