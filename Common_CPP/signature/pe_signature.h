// Where a program file keeps its signature, and which of its bytes that covers.
//
//   file up to the certificate table, less the checksum and the directory entry of that table    covered
//   certificate table, to the end of the file:
//     u32 length, u16 revision, u16 type 2: a PKCS #7 message follows; entries begin at multiples of 8 bytes
//
// A table that does not reach the end of the file is covered like all else, so that nothing in it can hold: otherwise
// bytes could be slipped into the middle of a signed program without changing its digest. What is not signed yet would
// be filled up with zeros to a multiple of 8 bytes first.
#pragma once

#include "Common_CPP/crypto/file_digest.h"

struct SkxPeSignature {
  SkxCoveredBytes covered;
  bool hasTable = false;               ///< the headers name one, wherever that may lie
  bool isTableLast = false;            ///< it reaches the end of the file; else no signature in it holds
  std::vector<unsigned char> message;  ///< the first PKCS #7 message of the table; empty when there is none to be read
};

/// Of a file of `size` bytes; nothing when it is no program file.
std::optional<SkxPeSignature> KxPeSignature_Read(const IkxByteSource& file, uint64_t size);
