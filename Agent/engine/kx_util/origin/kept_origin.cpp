// The answer to what live descriptions ask (target/kept_origin.h): the agent's record of an open file, else what the
// driver saw of it, and where it was downloaded from.
#include "Agent/engine/kx_util/target/kept_origin.h"

#include <kx_util/src_url_data.h>

#include "Agent/engine/kx_util/origin/kept_records.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

using Origin = std::shared_ptr<CkxFileOrigin>;

/// What the system refuses to tell of is not absent: whoever denies it being read would choose what a policy sees.
bool IsRead(EkxKeptRecord record) {
  if (record == EkxKeptRecord::NotTold) KxFault_Note(EkxEvaluationFault::TargetUnreadable);
  return record == EkxKeptRecord::Read;
}

Origin AgentOriginOf(intptr_t file, CkxTextView path) {
  auto origin = std::make_shared<CkxFileOrigin>();
  return IsRead(KxKept_AgentOrigin(file, path, *origin)) ? origin : nullptr;
}

/// A process that has no handle or no memory left to open a file with does not know that there is none.
bool OpenAsUser(CkxFileReader& file, CkxTextView path, void* token) {
  const CkxImpersonationScope asUser(token);
  if (file.Open(path)) return true;
  const uint32_t error = KxLastError_Get();
  if (error == kKxErrorTooManyOpenFiles || error == kKxErrorNotEnoughMemory) {
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  }
  return false;
}

/// Of a program that the driver names: what the agent has kept with it, never what the driver has. The secrets are
/// the process's own to read, so that only the opening is the user's.
Origin OriginOfImage(CkxTextView path, void* token) {
  CkxFileReader image;
  return OpenAsUser(image, path, token) ? AgentOriginOf(image.NativeHandle(), path) : nullptr;
}

Origin DriverOriginOf(intptr_t file, CkxTextView path, void* token) {
  CkxDrvXmlData data;
  auto origin = std::make_shared<CkxFileOrigin>();
  const auto imageOrigin = [token](CkxTextView image) { return OriginOfImage(image, token); };
  const bool isFilled = IsRead(KxKept_DriverData(file, path, data)) && origin->FromDrvData(data, imageOrigin);
  return isFilled ? origin : nullptr;
}

}  // namespace

std::shared_ptr<const CkxFileOrigin> KxKeptOrigin_Of(const CkxFileReader& file, CkxTextView path, void* token) {
  const intptr_t handle = file.NativeHandle();
  Origin origin = AgentOriginOf(handle, path);
  if (origin == nullptr) origin = DriverOriginOf(handle, path, token);
  CkxSrcUrlData download;
  if (IsRead(KxKept_Url(handle, path, download))) {
    if (origin == nullptr) origin = std::make_shared<CkxFileOrigin>();
    origin->SetDownloadAddress(download.Uri().View().ToString());
  }
  return origin;
}
