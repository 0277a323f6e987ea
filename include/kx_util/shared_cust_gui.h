// Alerts: the messages that policies ask to show.
//
//   offset 0: u32 magic 0x22232428
//          4: u32 size of the record in bytes, header included
//          8: u16 type (EkxAlertType)
//         10: u16 reserved
//         12: GUID of the alert
//         28: dialog:  u32 dialog type; HTML path (plain text)
//             balloon: nothing
#pragma once

#include <kx_util/policy_codes.h>
#include <kx_util/shared_buffer.h>

#include <memory>

#pragma pack(push, 1)
/// The header of a record, as it lies there.
struct SkxAlertBufHeader {
  static constexpr uint32_t kMagic = 0x22232428;
  uint32_t magic;
  uint32_t size;
  EkxAlertType type;
  uint16_t reserved;
  GUID id;
};
#pragma pack(pop)
static_assert(sizeof(SkxAlertBufHeader) == 28 && offsetof(SkxAlertBufHeader, id) == 12);

/// Carried for whoever shows the dialog.
enum class EkxDialogType : uint32_t {};

/// An alert: what is shown when a policy says so.
class KX_UTIL_API CkxShBufCustGuiBase {
 public:
  /// Null when the record is malformed or its type is none. `record` must have as many bytes as its size field says.
  /// With `copy` the alert owns a copy of its record, else it points into it.
  static CkxShBufCustGuiBase* CustGuiFromBuffer(const SkxAlertBufHeader* record, bool copy);

  CkxShBufCustGuiBase() = default;
  CkxShBufCustGuiBase(const CkxShBufCustGuiBase&) = delete;
  CkxShBufCustGuiBase& operator=(const CkxShBufCustGuiBase&) = delete;

  virtual ~CkxShBufCustGuiBase();
  virtual void Release();

  /// The same for a pointer that may be null, which is ignored: no operation may be called on a null object.
  static void Release(CkxShBufCustGuiBase* alert);

  /// Reads the record and moves on; false for one that is malformed.
  virtual bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) = 0;

  EkxAlertType AlertType() const { return _header->type; }
  GUID Id() const { return _header->id; }
  uint32_t BufferSize() const { return _header->size; }

 protected:
  bool _ReadHeader(const unsigned char*& cursor, unsigned long& remaining);

 private:
  bool _CopyBuffer(const SkxAlertBufHeader*& record, uint32_t size);

  unsigned char* _copy = nullptr;
  const SkxAlertBufHeader* _header = nullptr;
};

/// For a pointer that owns an alert.
struct SkxCustGuiRelease {
  void operator()(CkxShBufCustGuiBase* alert) const { CkxShBufCustGuiBase::Release(alert); }
};

/// Owns an alert.
using CkxShBufCustGuiPtr = std::unique_ptr<CkxShBufCustGuiBase, SkxCustGuiRelease>;

/// An alert that is a dialog.
class KX_UTIL_API CkxShBufCustGuiDialog : public CkxShBufCustGuiBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  EkxDialogType DlgType() const { return static_cast<EkxDialogType>(_dialogType); }
  const WCHAR* HtmlPath() const { return _htmlPath.SafeString(); }  ///< empty when absent
  CkxTextView HtmlPathView() const { return _htmlPath.View(); }

 private:
  uint32_t _dialogType = 0;
  CkxShBufString _htmlPath;
};

/// Its record has no texts: both stay empty, and whatever follows the header is not looked at.
class KX_UTIL_API CkxShBufCustGuiBaloon : public CkxShBufCustGuiBase {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;

  const WCHAR* Text() const { return _text.SafeString(); }
  const WCHAR* Title() const { return _title.SafeString(); }

 private:
  CkxShBufString _text;
  CkxShBufString _title;
};
