// How `show` presents the records of an image. One class a format, each in a file of its own.
#pragma once

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_set.h"
#include "Common_CPP/util/byte_cursor.h"

/// A record as it lies in its section, framed well; whether it parses is another question.
struct SkxShownRecord {
  const unsigned char* bytes;
  size_t offset;     ///< in its file
  const char* file;  ///< "policies.sec"

  /// As long as its size field says.
  std::span<const unsigned char> All() const { return {bytes, KxBytes_Load<uint32_t>(bytes + sizeof(uint32_t))}; }

  template <class Header>
  const Header& As() const {
    return *reinterpret_cast<const Header*>(bytes);
  }
};

/// "policy 7, action 2"
std::string KxShow_PolicyTitle(const SkxShownRecord& record);
/// "application group {...}"
std::string KxShow_GroupTitle(const SkxShownRecord& record);
/// "alert {...}, type 1"
std::string KxShow_AlertTitle(const SkxShownRecord& record);

/// What becomes of the records, in the order of the sections. A null object is a record that does not parse.
class IkxShowFormat {
 public:
  virtual ~IkxShowFormat() = default;
  virtual void Policy(const SkxShownRecord& record, const CkxShBufPolicy* policy) = 0;
  virtual void Group(const SkxShownRecord& record, const CkxShBufAppGroup* group) = 0;
  virtual void Alert(const SkxShownRecord& record, const CkxShBufCustGuiBase* alert) = 0;
  virtual void End(const SkxPolicyImage& image) = 0;

  /// A line for each thing that is not shown, with its file and its place there.
  std::vector<std::string> faults;
};

/// The library's debug texts.
std::unique_ptr<IkxShowFormat> KxShow_TextFormat(std::ostream& out);

/// A line for each record: what it is, its id, its kind and its name, in columns or as JSON.
std::unique_ptr<IkxShowFormat> KxShow_ListFormat(std::ostream& out, CkxAuthorNames names, bool asJson);

/// A policy document that compiles back. `shown`, where the records are from, outlives the format. `onlyNamed`: of the
/// groups and the alerts only those that are shown for something, because a policy or a group that is shown names them.
std::unique_ptr<IkxShowFormat> KxShow_JsonFormat(std::ostream& out, const CkxPolicySet& shown, CkxAuthorNames names,
                                                 bool onlyNamed);
