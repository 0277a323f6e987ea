// The system's functions that know of signatures and certificates.
#pragma once

#include "Common_CPP/util/system_library_win.h"

// After windows.h, which they do not include themselves.
#include <wincrypt.h>
// After wincrypt.h.
#include <mscat.h>
#include <softpub.h>
#include <wintrust.h>

struct SkxTrustFunctions {
  const CkxSystemLibrary wintrust{L"wintrust.dll"};
  const CkxSystemLibrary crypt32{L"crypt32.dll"};

  decltype(WinVerifyTrust)* const verify = wintrust.Find<decltype(WinVerifyTrust)>("WinVerifyTrust");
  decltype(WTHelperProvDataFromStateData)* const stateData =
      wintrust.Find<decltype(WTHelperProvDataFromStateData)>("WTHelperProvDataFromStateData");
  decltype(WTHelperGetProvSignerFromChain)* const signerOf =
      wintrust.Find<decltype(WTHelperGetProvSignerFromChain)>("WTHelperGetProvSignerFromChain");

  decltype(CryptCATAdminAcquireContext2)* const openCatalogs =
      wintrust.Find<decltype(CryptCATAdminAcquireContext2)>("CryptCATAdminAcquireContext2");
  decltype(CryptCATAdminReleaseContext)* const closeCatalogs =
      wintrust.Find<decltype(CryptCATAdminReleaseContext)>("CryptCATAdminReleaseContext");
  decltype(CryptCATAdminCalcHashFromFileHandle2)* const hashForCatalogs =
      wintrust.Find<decltype(CryptCATAdminCalcHashFromFileHandle2)>("CryptCATAdminCalcHashFromFileHandle2");
  decltype(CryptCATAdminEnumCatalogFromHash)* const catalogWith =
      wintrust.Find<decltype(CryptCATAdminEnumCatalogFromHash)>("CryptCATAdminEnumCatalogFromHash");
  decltype(CryptCATCatalogInfoFromContext)* const catalogInfo =
      wintrust.Find<decltype(CryptCATCatalogInfoFromContext)>("CryptCATCatalogInfoFromContext");
  decltype(CryptCATAdminReleaseCatalogContext)* const closeCatalog =
      wintrust.Find<decltype(CryptCATAdminReleaseCatalogContext)>("CryptCATAdminReleaseCatalogContext");

  decltype(CertOpenStore)* const openStore = crypt32.Find<decltype(CertOpenStore)>("CertOpenStore");
  decltype(CertCloseStore)* const closeStore = crypt32.Find<decltype(CertCloseStore)>("CertCloseStore");
  decltype(CertAddEncodedCertificateToStore)* const addToStore =
      crypt32.Find<decltype(CertAddEncodedCertificateToStore)>("CertAddEncodedCertificateToStore");
  decltype(CertAddEncodedCRLToStore)* const addRevoked =
      crypt32.Find<decltype(CertAddEncodedCRLToStore)>("CertAddEncodedCRLToStore");
  decltype(CertAddStoreToCollection)* const addStore =
      crypt32.Find<decltype(CertAddStoreToCollection)>("CertAddStoreToCollection");
  decltype(CertFindCertificateInStore)* const findInStore =
      crypt32.Find<decltype(CertFindCertificateInStore)>("CertFindCertificateInStore");
  decltype(CertCreateCertificateContext)* const makeCertificate =
      crypt32.Find<decltype(CertCreateCertificateContext)>("CertCreateCertificateContext");
  decltype(CertFreeCertificateContext)* const freeCertificate =
      crypt32.Find<decltype(CertFreeCertificateContext)>("CertFreeCertificateContext");
  decltype(CertGetCertificateChain)* const chainOf =
      crypt32.Find<decltype(CertGetCertificateChain)>("CertGetCertificateChain");
  decltype(CertFreeCertificateChain)* const freeChain =
      crypt32.Find<decltype(CertFreeCertificateChain)>("CertFreeCertificateChain");
  decltype(CertGetNameStringW)* const nameOf = crypt32.Find<decltype(CertGetNameStringW)>("CertGetNameStringW");
  decltype(CryptStringToBinaryA)* const fromText = crypt32.Find<decltype(CryptStringToBinaryA)>("CryptStringToBinaryA");

  decltype(CryptMsgOpenToDecode)* const openMessage =
      crypt32.Find<decltype(CryptMsgOpenToDecode)>("CryptMsgOpenToDecode");
  decltype(CryptMsgUpdate)* const updateMessage = crypt32.Find<decltype(CryptMsgUpdate)>("CryptMsgUpdate");
  decltype(CryptMsgControl)* const controlMessage = crypt32.Find<decltype(CryptMsgControl)>("CryptMsgControl");
  decltype(CryptMsgGetParam)* const messagePart = crypt32.Find<decltype(CryptMsgGetParam)>("CryptMsgGetParam");
  decltype(CryptMsgClose)* const closeMessage = crypt32.Find<decltype(CryptMsgClose)>("CryptMsgClose");
  decltype(CryptDecodeObjectEx)* const decode = crypt32.Find<decltype(CryptDecodeObjectEx)>("CryptDecodeObjectEx");

  decltype(CryptEncodeObjectEx)* const encode = crypt32.Find<decltype(CryptEncodeObjectEx)>("CryptEncodeObjectEx");
  decltype(CryptImportPublicKeyInfoEx2)* const publicKeyOf =
      crypt32.Find<decltype(CryptImportPublicKeyInfoEx2)>("CryptImportPublicKeyInfoEx2");

  /// Whether the system has what a look at a signature needs; all Windows have. Catalogs may be missing.
  bool AreThere() const {
    return verify != nullptr && stateData != nullptr && signerOf != nullptr && openStore != nullptr &&
           closeStore != nullptr && addToStore != nullptr && addRevoked != nullptr && addStore != nullptr &&
           findInStore != nullptr && freeCertificate != nullptr && chainOf != nullptr && freeChain != nullptr &&
           nameOf != nullptr && fromText != nullptr && openMessage != nullptr && updateMessage != nullptr &&
           controlMessage != nullptr && messagePart != nullptr && closeMessage != nullptr && decode != nullptr;
  }
  bool CanSign() const {
    return makeCertificate != nullptr && freeCertificate != nullptr && fromText != nullptr && decode != nullptr &&
           encode != nullptr && publicKeyOf != nullptr;
  }
  bool HaveCatalogs() const {
    return openCatalogs != nullptr && closeCatalogs != nullptr && hashForCatalogs != nullptr &&
           catalogWith != nullptr && catalogInfo != nullptr && closeCatalog != nullptr;
  }

  static const SkxTrustFunctions& Get();
};

/// Owns what one of the functions above frees.
template <class Object, class Free>
class CkxTrustObject {
 public:
  CkxTrustObject(Object object, Free free) : _object(object), _free(free) {}
  ~CkxTrustObject() {
    if (_object != Object{}) _free(_object);
  }
  CkxTrustObject(const CkxTrustObject&) = delete;
  CkxTrustObject& operator=(const CkxTrustObject&) = delete;

  explicit operator bool() const { return _object != Object{}; }
  Object Get() const { return _object; }

 private:
  const Object _object;
  const Free _free;
};
