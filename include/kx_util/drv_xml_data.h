// What the file-system driver saw when a file was created or changed last: its record in the attribute "KxDrvSupData".
//
//   <KxDrvData version="1" kxDataId="SIGNATURE">
//     <FileCreate time="..."><Path>...</Path></FileCreate>
//     <FileModify time="..."><Path>...</Path><UserSid>S-1-5-...</UserSid></FileModify>
//     <Process order="0" multiFileCreator="true"><Path volumeId="..." fileId="...">...</Path>
//       <Share>...</Share><Port>...</Port><Ipv4>0A000001</Ipv4></Process> ...
//   </KxDrvData>
//
// It is signed together with the identifier of its file, so that it says nothing about any other. The driver signs in
// the older form; version 2 is what the agent has signed anew, in the keyed one.
//
//   CkxDrvXmlData data;
//   if (data.FromXml(text, path)) data.GetCreateTime(time);
//
// Of several elements of a name the first counts.
#pragma once

#include <kx_util/data_signature.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Common_CPP/util/owned_str.h"

class CkxTiXmlDocument;
namespace tinyxml2 {
class XMLElement;
}

/// A process that took part. Texts that are not there are empty.
struct SkxDrvProcessInfo {
  int32_t order = 0;  ///< 0 wrote the file
  bool multiFileCreator = false;
  CkxUtilStr path;
  CkxUtilStr volumeId;  ///< of the image, as the driver writes them: hexadecimal
  CkxUtilStr fileId;
  CkxUtilStr share;    ///< and the rest of the network that the writing came from
  uint16_t port = 0;   ///< 0 where there is none
  CkxUtilStr address;  ///< "10.0.0.1"; eight groups of "%4hx", with nothing between them
};

/// Every operation leaves a line in the trace where it fails. A failed read leaves the object empty.
class KX_UTIL_API CkxDrvXmlData {
 public:
  static const char* ClassName() { return "CkxDrvXmlData"; }

  CkxDrvXmlData();
  CkxDrvXmlData(CkxDrvXmlData&&) noexcept;
  CkxDrvXmlData& operator=(CkxDrvXmlData&&) noexcept;
  ~CkxDrvXmlData();

  /// `text` is UTF-8, of the file with that identifier.
  bool FromXml(std::string_view text, uint64_t fileId,
               EkxSignatureCheck check = EkxSignatureCheck::AsConfigured) noexcept;
  /// The same for the file that lies at `path` now.
  bool FromXml(std::string_view text, const WCHAR* path,
               EkxSignatureCheck check = EkxSignatureCheck::AsConfigured) noexcept;

  /// Reads a record that holds, and gives it in the keyed form: `migrated` is `text` itself when it is already.
  bool FromXmlForMigration(std::string_view text, uint64_t fileId, std::string& migrated) noexcept;

  bool IsEmpty() const { return _document == nullptr; }

  /// False, with nothing changed, for what is not there or is malformed.
  bool GetVersion(uint32_t& version) const noexcept;
  bool GetCreateTime(uint64_t& time) const noexcept;  ///< file times
  bool GetModifyTime(uint64_t& time) const noexcept;
  bool GetOriginalPath(CkxUtilStr& path) const noexcept;  ///< under which the file was created
  bool GetUserSid(CkxUtilStr& sid) const noexcept;        ///< who changed it last, or created it
  bool GetProcessPath(int32_t order, CkxUtilStr& path) const noexcept;
  bool GetProcessInfo(int32_t order, SkxDrvProcessInfo& info) const noexcept;

  /// The places of the processes in the chain, each once, in the order of the record.
  std::vector<int32_t> GetProcessOrders() const noexcept;

  /// Signs a record anew, whoever had signed it, with the rest of its text as it is. In the keyed form its version
  /// becomes 2 first.
  static bool Sign(std::string& text, uint64_t fileId, EkxSignatureForm form = EkxSignatureForm::Keyed) noexcept;

  /// Makes the first version="1" behind the root's name version="2". False, with nothing changed, when there is none.
  static bool UpdateVersion(std::string& text) noexcept;

 private:
  void _Empty();
  const tinyxml2::XMLElement* _GetFileCreateElement() const;
  const tinyxml2::XMLElement* _GetFileModifyElement() const;
  const tinyxml2::XMLElement* _GetFileModifyOrCreateElement() const;
  const tinyxml2::XMLElement* _GetProcessElement(int32_t order) const;

  std::unique_ptr<CkxTiXmlDocument> _document;
};
