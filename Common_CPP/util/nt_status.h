// Statuses of the system's native calls, which the library reports with the same numbers on every platform: 0 and above
// is success.
#pragma once

#include <cstdint>
#include <string>

/// As wide as the interface has it, with the sign of the 32 bits.
constexpr long KxStatus_Of(uint32_t code) { return static_cast<int32_t>(code); }

/// "0xC0000052"
inline std::string KxStatus_Text(long status) {
  std::string text = "0x00000000";
  auto rest = static_cast<uint32_t>(status);
  for (size_t i = text.size(); rest != 0; rest >>= 4) text[--i] = "0123456789ABCDEF"[rest & 0xF];
  return text;
}

inline constexpr long kKxStatusSuccess = 0;
inline constexpr long kKxStatusBufferOverflow = KxStatus_Of(0x80000005);
inline constexpr long kKxStatusInvalidEaName = KxStatus_Of(0x80000013);
inline constexpr long kKxStatusEaListInconsistent = KxStatus_Of(0x80000014);
inline constexpr long kKxStatusUnsuccessful = KxStatus_Of(0xC0000001);
inline constexpr long kKxStatusNotImplemented = KxStatus_Of(0xC0000002);
inline constexpr long kKxStatusInfoLengthMismatch = KxStatus_Of(0xC0000004);
inline constexpr long kKxStatusInvalidHandle = KxStatus_Of(0xC0000008);
inline constexpr long kKxStatusInvalidParameter = KxStatus_Of(0xC000000D);
inline constexpr long kKxStatusInvalidDeviceRequest = KxStatus_Of(0xC0000010);
inline constexpr long kKxStatusNoMemory = KxStatus_Of(0xC0000017);
inline constexpr long kKxStatusAccessDenied = KxStatus_Of(0xC0000022);
inline constexpr long kKxStatusBufferTooSmall = KxStatus_Of(0xC0000023);
inline constexpr long kKxStatusObjectNameInvalid = KxStatus_Of(0xC0000033);
inline constexpr long kKxStatusObjectNameNotFound = KxStatus_Of(0xC0000034);
inline constexpr long kKxStatusObjectNameCollision = KxStatus_Of(0xC0000035);
inline constexpr long kKxStatusObjectPathNotFound = KxStatus_Of(0xC000003A);
inline constexpr long kKxStatusSharingViolation = KxStatus_Of(0xC0000043);
inline constexpr long kKxStatusEasNotSupported = KxStatus_Of(0xC000004F);
inline constexpr long kKxStatusEaTooLarge = KxStatus_Of(0xC0000050);
inline constexpr long kKxStatusNoEasOnFile = KxStatus_Of(0xC0000052);
inline constexpr long kKxStatusEaCorrupt = KxStatus_Of(0xC0000053);
inline constexpr long kKxStatusDiskFull = KxStatus_Of(0xC000007F);
inline constexpr long kKxStatusMediaWriteProtected = KxStatus_Of(0xC00000A2);
inline constexpr long kKxStatusNotSupported = KxStatus_Of(0xC00000BB);
inline constexpr long kKxStatusNotFound = KxStatus_Of(0xC0000225);
