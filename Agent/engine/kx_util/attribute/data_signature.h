// Making and judging the signatures of records. Neither does anything without the secret that it needs.
#pragma once

#include <kx_util/data_signature.h>

#include <optional>
#include <span>
#include <vector>

/// Bytes; the form is told by how many there are.
inline constexpr size_t kKeyedSignatureBytes = 32;
inline constexpr size_t kOlderSignatureBytes = 20;

/// Nothing without the secret.
std::optional<std::vector<unsigned char>> KxDataSignature_Make(std::span<const unsigned char> data,
                                                               EkxSignatureForm form);

enum class EkxSignatureVerdict : unsigned char {
  Holds,
  Differs,  ///< also one that is of no form, or of one that is not believed
  NoKey,    ///< of the keyed form
  NoPassPhrase,
};

/// Judges what `stored` says of `data`. A keyed one holds by any key that the provider has.
EkxSignatureVerdict KxDataSignature_Judge(std::span<const unsigned char> data, std::span<const unsigned char> stored,
                                          EkxSignatureCheck check);

/// The same, with the reason for a no in the trace as an error of `scope`.
bool KxDataSignature_Holds(std::span<const unsigned char> data, std::span<const unsigned char> stored,
                           EkxSignatureCheck check, std::string_view scope);
