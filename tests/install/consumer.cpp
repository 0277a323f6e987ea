// What a program outside uses of an installation: a header of its own for each, values, records, and the trace.
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policy.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/trace.h>
#include <kx_util/version.h>

int main() {
  const SkxVersion version = SkxVersion::Parse(KXW("1.2.3.4"));
  if (!version.IsEqual(1, 2, 3, 4)) return 1;

  // A list of one owner, S-1-5-18.
  const unsigned char bytes[] = {1, 1, 0, 0, 0, 1, 12, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
  const unsigned char* cursor = bytes;
  unsigned long remaining = sizeof(bytes);
  CkxShBufPropFileOwners owners;
  if (!owners.FromBuffer(cursor, remaining) || owners.Count() != 1) return 2;
  for (const auto& owner : owners.Elements()) {
    if (owner.prop.Owner().ToUtf8() != "S-1-5-18") return 3;
  }

  CkxShBufAppGroup group;
  if (group.FromBuffer(cursor, remaining)) return 4;
  struct Log : IkxTraceSink {
    void Write(const SkxTraceLine&) noexcept override { ++lines; }
    int lines = 0;
  } log;
  KxTrace_SetSink(&log);
  KxUtil_PolicyActionStr(static_cast<EkxPolicyAction>(99));
  KxTrace_SetSink(nullptr);
  return log.lines == 1 ? 0 : 5;
}
