// Who signed a file, whether the signature still holds, and whether this system trusts the signer.
//
//   const SkxSigners signers = KxSignature_Look({file, path, program, digestOf, mayRead});
//
// On Windows the system answers, for every kind of file that it knows. Elsewhere signatures are looked at here, against
// the system's roots: those in programs, installer packages and scripts, and those of the catalogs that a caller has
// added. Nothing is fetched: a certificate that was revoked is known as such where a list that says so lies beside the
// roots. What cannot be looked at is "unknown", never "unsigned".
#pragma once

#include <functional>

#include "Common_CPP/signature/pe_signature.h"
#include "Common_CPP/signature/signer.h"
#include "Common_CPP/signature/trust_store.h"
#include "Common_CPP/util/text_view.h"

class CkxFileReader;

/// A file may be signed twice, usually for the sake of systems that know an older digest alone.
struct SkxSigners {
  SkxSigner first;
  SkxSigner second;
};

struct SkxSignedFile {
  const CkxFileReader& file;
  CkxTextView path;
  const SkxPeSignature* program;  ///< null for what is no program file

  /// The digest of what a signature in the program covers, of any other file the whole; nothing when the file is not to
  /// be read any further.
  std::function<std::optional<std::vector<unsigned char>>(EkxHashAlgorithm)> digestOf;

  /// Asked before bytes are read for anything else that a signature covers, with their number; may end it.
  bool (*mayRead)(uint64_t bytes);
};

SkxSigners KxSignature_Look(const SkxSignedFile& signedFile);
