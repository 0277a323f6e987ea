// Input: a byte that selects a section, then the bytes of a record of it. A walk by the layout takes what the library's
// reader takes, and visits nothing outside the bytes. The checks of a publication get the record as its section.
#include <cstdlib>

#include "Agent/engine/kx_publish/lint/lint_records.h"
#include "Agent/engine/kx_publish/record/record_walk.h"
#include "tests/support/record_reading.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

class InBounds : public IkxRecordVisitor {
 public:
  explicit InBounds(const KxBytes& bytes) : _bytes(bytes) {}
  void OnField(const SkxWalkedField& field) override { RequireInside(field); }
  void OnWhole(const SkxWalkedField& field) override { RequireInside(field); }

 private:
  void RequireInside(const SkxWalkedField& field) const {
    Require(field.bytes.data() == _bytes.data() + field.offset);
    Require(field.offset + field.bytes.size() <= _bytes.size());
  }
  const KxBytes& _bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const auto section = static_cast<EkxPolicySection>(data[0] % 3);
  const KxBytes bytes(data + 1, data + size);

  InBounds visitor(bytes);
  SkxRecordFault fault;
  const std::optional<size_t> walked = KxRecord_Walk(KxLint_Layout(section), bytes, &visitor, fault);
  Require(walked == KxTest_ReadRecord(section, bytes));
  Require(walked.has_value() == fault.message.empty() && fault.offset <= bytes.size());

  SkxPolicyImage image;
  std::optional<SkxPolicyImage::Bytes>* const sections[] = {&image.policies, &image.appGroups, &image.alerts};
  *sections[static_cast<size_t>(section)] = CkxRecordBytes().U32(1).Append(bytes).Bytes();
  bool hasError = false;
  for (const SkxFinding& finding : KxLint_Image(image)) {
    Require(!finding.message.empty() && finding.offset <= bytes.size() + sizeof(uint32_t));
    hasError = hasError || finding.severity == EkxSeverity::Error;
  }
  Require(hasError == !walked.has_value());
  return 0;
}
