// What the system has recorded of a file and keeps with it, in two signed documents: the agent's, which is where the
// file came from ("KXAgentSupData"), and the file-system driver's, which is what that saw when the file was written
// ("KxDrvSupData", `kx_util/drv_xml_data.h`). The agent's:
//
//   <KxAgentData kxDataId="SIGNATURE"><FileOrigin version="1">...</FileOrigin></KxAgentData>
//
// in UTF-8 with a zero at its end. Each is bound to its file, whose identifier is asked of the very handle that it is
// read or set through: copied to another file by anybody else but `Copy` it does not hold, and one that does not hold
// is taken as absent, never in part.
//
//   CkxSupplementalFileData(origin).ToFile(path);
//   …
//   CkxSupplementalFileData data;
//   if (data.FromFile(path) && data.AgentRecord() == EkxKeptRecord::Read) Show(data.Origin());
//
// A policy that asks a live file for its origin reads it by itself.
#pragma once

#include <kx_util/drv_xml_data.h>
#include <kx_util/file_origin.h>

/// What there is of a record that is kept with a file.
enum class EkxKeptRecord : unsigned char {
  Absent,  ///< also where files have no attributes at all
  Read,
  Refused,  ///< it is there, and does not hold or is malformed
  NotTold,  ///< the system has not told whether there is one
};

/// Every operation leaves a line in the trace where it fails. The status of one that writes is that of the system's
/// call that failed; 0 after success, and where no call of the system was the reason.
class KX_UTIL_API CkxSupplementalFileData {
 public:
  static constexpr const char* kAgentEaName = "KXAgentSupData";
  static constexpr const char* kDriverEaName = "KxDrvSupData";

  static constexpr const char* ClassName() { return "CkxSupplementalFileData"; }

  CkxSupplementalFileData() = default;
  explicit CkxSupplementalFileData(CkxFileOrigin origin) : _origin(std::move(origin)) {}

  /// Empty unless there is the agent's record.
  CkxFileOrigin& Origin() { return _origin; }
  const CkxFileOrigin& Origin() const { return _origin; }

  /// Empty unless there is the driver's record.
  const CkxDrvXmlData& DrvXmlData() const { return _drvXmlData; }

  // What the last `FromFile` has found.
  EkxKeptRecord AgentRecord() const { return _agentRecord; }
  EkxKeptRecord DriverRecord() const { return _driverRecord; }

  /// Keeps the origin, without the part about the file itself, with the file; what was kept of another is replaced in
  /// one step. A caller without the right to who may grant it to itself has it meanwhile, and a read-only file is
  /// writable meanwhile. Files on other machines are refused.
  bool ToFile(const WCHAR* path, long* status = nullptr) const noexcept;

  /// True when one of the two records was read: each stands for itself. A false leaves the object empty.
  bool FromFile(const WCHAR* path) noexcept;

  /// The one record and the other. What is read stays as it was where there is none.
  static EkxKeptRecord ReadAgentData(const WCHAR* path, CkxFileOrigin& origin) noexcept;
  static EkxKeptRecord ReadDrvXmlData(const WCHAR* path, CkxDrvXmlData& data) noexcept;

  /// Both; true also when there was none.
  static bool DeleteFromFile(const WCHAR* path, long* status = nullptr) noexcept;

  /// Carries what is kept with one file to another: both records and the URI of a download, each judged where it is and
  /// signed for the other file in the keyed form. All are ready before the first is set, and a failure to set one puts
  /// back what was there. False also when there was none; and when one was refused, which is then left out. What only
  /// the other file has stays.
  static bool Copy(const WCHAR* source, const WCHAR* target, long* status = nullptr) noexcept;

  /// Signs both records of a file anew where they are of the older form and hold. Those of the keyed form that hold
  /// stay as they are. All or none; false also when there is none.
  static bool ToFileForSignatureMigration(const WCHAR* path, long* status = nullptr) noexcept;

  /// The same with the URI of a download among them, as a file's migration is done.
  static bool UpdateSignature(const WCHAR* path, long* status = nullptr) noexcept;

  /// The document without a signature; false, with `xml` as it was, for an origin that XML has no place for.
  bool ToXml(std::string& xml) const noexcept;

  /// Whether the machine's files have been gone through once; not until told.
  static bool ReadScanFinishedFlag() noexcept;
  static bool _SetScanFinished(bool isFinished) noexcept;

 private:
  CkxFileOrigin _origin;
  CkxDrvXmlData _drvXmlData;
  EkxKeptRecord _agentRecord = EkxKeptRecord::Absent;
  EkxKeptRecord _driverRecord = EkxKeptRecord::Absent;
};
