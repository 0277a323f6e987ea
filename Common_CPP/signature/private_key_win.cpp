#include "Common_CPP/signature/private_key_win.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "Common_CPP/signature/asn1_win.h"
#include "Common_CPP/signature/pem_win.h"

// After windows.h, which it does not include itself.
#include <bcrypt.h>

namespace {

constexpr NTSTATUS kNotSupported = static_cast<NTSTATUS>(0xC00000BB);

KxSecretBytes SecretDecoded(const char* type, std::span<const unsigned char> bytes) {
  return KxAsn1_Decoded<KxSecretBytes>(type, bytes);
}

/// Of an octet string; empty when it is none.
KxSecretBytes SecretOctets(std::span<const unsigned char> encoded) {
  const KxSecretBytes decoded = SecretDecoded(X509_OCTET_STRING, encoded);
  const auto* const octets = KxAsn1_As<CRYPT_DATA_BLOB>(decoded);
  if (octets == nullptr) return {};
  return {octets->pbData, octets->pbData + octets->cbData};
}

/// Of a positive number, the most significant byte first; empty when it is none.
KxSecretBytes SecretNumber(std::span<const unsigned char> encoded) {
  const KxSecretBytes decoded = SecretDecoded(X509_MULTI_BYTE_UINT, encoded);
  const auto* const number = KxAsn1_As<CRYPT_UINT_BLOB>(decoded);
  if (number == nullptr) return {};
  return {std::make_reverse_iterator(number->pbData + number->cbData), std::make_reverse_iterator(number->pbData)};
}

/// "1.2.840"; empty when it is none.
std::string Identifier(std::span<const unsigned char> encoded) {
  const std::vector<unsigned char> decoded = KxAsn1_Decoded(X509_OBJECT_IDENTIFIER, encoded);
  const auto* const text = KxAsn1_As<LPSTR>(decoded);
  return text == nullptr ? "" : *text;
}

/// PKCS #8: a version, an algorithm with its parameters, the key in an octet string. One that is encrypted has no such
/// parts.
std::optional<SkxPrivateKey> OfAnyKind(const KxSecretBytes& bytes) {
  const KxSecretBytes parts = SecretDecoded(X509_SEQUENCE_OF_ANY, bytes);
  const std::vector<unsigned char> algorithm = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, KxAsn1_Element(parts, 1));
  SkxPrivateKey key = {Identifier(KxAsn1_Element(algorithm, 0)), SecretOctets(KxAsn1_Element(parts, 2))};
  if (key.algorithm.empty() || key.bytes.empty()) return std::nullopt;
  return key;
}

void Append(KxSecretBytes& blob, std::span<const unsigned char> bytes) {
  blob.insert(blob.end(), bytes.begin(), bytes.end());
}

template <class Head>
KxSecretBytes BlobOf(const Head& head) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&head);
  return {bytes, bytes + sizeof(Head)};
}

/// A key as the system takes it.
struct SkxKeyBlob {
  const wchar_t* algorithm = nullptr;
  const wchar_t* form = nullptr;
  KxSecretBytes bytes;  // empty: there is none
};

/// Version, modulus, public exponent, private exponent, both primes, and what follows from those.
SkxKeyBlob BlobOfRsa(const SkxPrivateKey& key) {
  const KxSecretBytes parts = SecretDecoded(X509_SEQUENCE_OF_ANY, key.bytes);
  const auto number = [&](DWORD index) { return SecretNumber(KxAsn1_Element(parts, index)); };
  const KxSecretBytes modulus = number(1);
  const KxSecretBytes exponent = number(2);
  const KxSecretBytes primes[] = {number(4), number(5)};
  SkxKeyBlob blob = {BCRYPT_RSA_ALGORITHM, BCRYPT_RSAPRIVATE_BLOB, {}};
  if (modulus.empty() || exponent.empty() || primes[0].empty() || primes[1].empty()) return blob;

  BCRYPT_RSAKEY_BLOB head{};
  head.Magic = BCRYPT_RSAPRIVATE_MAGIC;
  head.BitLength = static_cast<ULONG>(modulus.size() * 8 - static_cast<size_t>(std::countl_zero(modulus.front())));
  head.cbPublicExp = static_cast<ULONG>(exponent.size());
  head.cbModulus = static_cast<ULONG>(modulus.size());
  head.cbPrime1 = static_cast<ULONG>(primes[0].size());
  head.cbPrime2 = static_cast<ULONG>(primes[1].size());
  blob.bytes = BlobOf(head);
  for (const KxSecretBytes* part : {&exponent, &modulus, &primes[0], &primes[1]}) Append(blob.bytes, *part);
  return blob;
}

struct SkxCurve {
  std::string_view identifier;
  const wchar_t* algorithm;
  ULONG magic;
  ULONG size;  // of a number, in bytes
};

constexpr SkxCurve kCurves[] = {
    {"1.2.840.10045.3.1.7", BCRYPT_ECDSA_P256_ALGORITHM, BCRYPT_ECDSA_PRIVATE_P256_MAGIC, 32},
    {"1.3.132.0.34", BCRYPT_ECDSA_P384_ALGORITHM, BCRYPT_ECDSA_PRIVATE_P384_MAGIC, 48},
    {"1.3.132.0.35", BCRYPT_ECDSA_P521_ALGORITHM, BCRYPT_ECDSA_PRIVATE_P521_MAGIC, 66},
};

/// Version and the secret number. Curve and public point need not stand there: they are the certificate's, and a key
/// that is of others makes no signature that holds by it.
SkxKeyBlob BlobOfCurve(const SkxPrivateKey& key, const CERT_PUBLIC_KEY_INFO& publicKey) {
  constexpr unsigned char kUncompressed = 4;
  const std::string identifier = Identifier(KxAsn1_Bytes(publicKey.Algorithm.Parameters));
  const auto* const curve = std::ranges::find(kCurves, identifier, &SkxCurve::identifier);
  const std::span<const unsigned char> point = {publicKey.PublicKey.pbData, publicKey.PublicKey.cbData};
  if (curve == std::end(kCurves)) return {};
  SkxKeyBlob blob = {curve->algorithm, BCRYPT_ECCPRIVATE_BLOB, {}};
  const KxSecretBytes parts = SecretDecoded(X509_SEQUENCE_OF_ANY, key.bytes);
  const KxSecretBytes number = SecretOctets(KxAsn1_Element(parts, 1));
  const bool isOfCurve = !number.empty() && number.size() <= curve->size && point.size() == 1 + size_t{2} * curve->size;
  if (!isOfCurve || point.front() != kUncompressed) return blob;

  blob.bytes = BlobOf(BCRYPT_ECCKEY_BLOB{curve->magic, curve->size});
  Append(blob.bytes, point.subspan(1));
  blob.bytes.resize(blob.bytes.size() + curve->size - number.size());
  Append(blob.bytes, number);
  return blob;
}

BCRYPT_ALG_HANDLE OpenProvider(const wchar_t* algorithm) {
  BCRYPT_ALG_HANDLE provider = nullptr;
  return BCryptOpenAlgorithmProvider(&provider, algorithm, nullptr, 0) >= 0 ? provider : nullptr;
}

void FreeKey(BCRYPT_KEY_HANDLE key) { BCryptDestroyKey(key); }

/// By RSA with its padding, by a curve without.
struct SkxSigningWay {
  BCRYPT_PKCS1_PADDING_INFO padding = {BCRYPT_SHA256_ALGORITHM};
  bool isPadded;

  void* Padding() { return isPadded ? &padding : nullptr; }
  ULONG Flags() const { return isPadded ? BCRYPT_PAD_PKCS1 : 0; }
};

bool Sign(BCRYPT_KEY_HANDLE key, SkxSigningWay way, std::span<const unsigned char> digest,
          std::vector<unsigned char>& signature) {
  constexpr ULONG kMaxSignature = 2048;  // by the longest key of RSA that the system knows
  ULONG size = 0;
  signature.resize(kMaxSignature);
  const NTSTATUS status =
      BCryptSignHash(key, way.Padding(), const_cast<UCHAR*>(digest.data()), static_cast<ULONG>(digest.size()),
                     signature.data(), kMaxSignature, &size, way.Flags());
  signature.resize(status < 0 ? 0 : size);
  return status >= 0;
}

bool Holds(PCCERT_CONTEXT certificate, SkxSigningWay way, std::span<const unsigned char> digest,
           std::vector<unsigned char>& signature) {
  BCRYPT_KEY_HANDLE opened = nullptr;
  if (!SkxTrustFunctions::Get().publicKeyOf(X509_ASN_ENCODING, &certificate->pCertInfo->SubjectPublicKeyInfo, 0,
                                            nullptr, &opened)) {
    return false;
  }
  const CkxTrustObject key(opened, FreeKey);
  return BCryptVerifySignature(key.Get(), way.Padding(), const_cast<UCHAR*>(digest.data()),
                               static_cast<ULONG>(digest.size()), signature.data(),
                               static_cast<ULONG>(signature.size()), way.Flags()) >= 0;
}

}  // namespace

std::optional<SkxPrivateKey> KxPrivateKey_FromPem(std::span<const unsigned char> text) {
  std::string_view rest = KxPem_Text(text);
  while (const std::optional<SkxPemBlock> block = KxPem_Next(rest)) {
    if (!block->label.ends_with("PRIVATE KEY")) continue;
    KxSecretBytes bytes = KxPem_Decoded<KxSecretBytes>(block->body);
    if (SecretDecoded(X509_SEQUENCE_OF_ANY, bytes).empty()) return std::nullopt;
    if (block->label == "RSA PRIVATE KEY") return SkxPrivateKey{szOID_RSA_RSA, std::move(bytes)};
    if (block->label == "EC PRIVATE KEY") return SkxPrivateKey{szOID_ECC_PUBLIC_KEY, std::move(bytes)};
    return OfAnyKind(bytes);
  }
  return std::nullopt;
}

EkxSigning KxPrivateKey_Sign(const SkxPrivateKey& key, PCCERT_CONTEXT certificate,
                             std::span<const unsigned char> digest, std::vector<unsigned char>& signature) {
  const CERT_PUBLIC_KEY_INFO& publicKey = certificate->pCertInfo->SubjectPublicKeyInfo;
  if (key.algorithm != publicKey.Algorithm.pszObjId) return EkxSigning::NotOfCertificate;
  const bool isRsa = key.algorithm == szOID_RSA_RSA;
  if (!isRsa && key.algorithm != szOID_ECC_PUBLIC_KEY) return EkxSigning::UnknownKind;

  SkxKeyBlob blob = isRsa ? BlobOfRsa(key) : BlobOfCurve(key, publicKey);
  if (blob.algorithm == nullptr) return EkxSigning::UnknownKind;
  if (blob.bytes.empty()) return EkxSigning::NotOfCertificate;
  const CkxTrustObject provider(OpenProvider(blob.algorithm),
                                [](BCRYPT_ALG_HANDLE opened) { BCryptCloseAlgorithmProvider(opened, 0); });
  if (!provider) return EkxSigning::UnknownKind;
  BCRYPT_KEY_HANDLE imported = nullptr;
  const NTSTATUS status = BCryptImportKeyPair(provider.Get(), nullptr, blob.form, &imported, blob.bytes.data(),
                                              static_cast<ULONG>(blob.bytes.size()), 0);
  if (status < 0) return status == kNotSupported ? EkxSigning::UnknownKind : EkxSigning::NotOfCertificate;
  const CkxTrustObject own(imported, FreeKey);
  const SkxSigningWay way = {.isPadded = isRsa};
  if (!Sign(own.Get(), way, digest, signature)) return EkxSigning::UnknownKind;
  return Holds(certificate, way, digest, signature) ? EkxSigning::Signed : EkxSigning::NotOfCertificate;
}
