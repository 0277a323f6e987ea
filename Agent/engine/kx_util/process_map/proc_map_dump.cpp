// The map as a text for people.
#include "Agent/engine/kx_util/process_map/process_map.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

/// "HH:mm:ss"; one that is not known is midnight.
CkxUtilStr ClockText(int64_t time) {
  const SkxTimeOfDay clock = time != 0 ? KxFileTime_LocalTimeOfDay(time) : SkxTimeOfDay();
  CkxUtilStr text;
  KxText_AppendFormat(text, KXW("%.2d:%.2d:%.2d"), clock.hour, clock.minute, clock.second);
  return text;
}

CkxTextView OrMark(const CkxUtilStr& text) { return text.IsEmpty() ? CkxTextView(KXW("<NULL>")) : text.View(); }

void AppendRecord(CkxUtilStr& text, const CkxProcessData& data) {
  KxText_AppendFormat(text,
                      KXW("  ** PID=%d, SessionId=%d, ParentPID=%d, ParentTID=%d, ParentPidReal=%d, DrvFlags=0x%.8X, "
                          "ParentSvcName=%s, CreationTime=%s, ExitTime=%s, ParentCreationTime=%s, ChildCount=%d, "
                          "ProtectedFile=%s\r\n"),
                      data.Pid, data.SessionId, data.ParentPid, data.ParentTid, data.ParentPidReal, data.DrvFlags,
                      OrMark(data.ParentSvcName), ClockText(data.CreationTime), ClockText(data.ExitTime),
                      ClockText(data.ParentCreationTime), data.ChildCount, OrMark(data.ProtectedFileName));
  KxText_AppendFormat(text, KXW("     Path, RunPath and CmdLine: [%s] [%s] [%s]\r\n"), OrMark(data.Path),
                      OrMark(data.RunPath), OrMark(data.CmdLine));
}

void AppendRecords(CkxUtilStr& text, const SkxProcessRecord* oldest) {
  for (; oldest != nullptr; oldest = oldest->newer) AppendRecord(text, oldest->data);
}

bool WriteDump(CkxTextView fileName, const std::string& text) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  SkxReplaceProgress progress;
  if (KxFile_ReplaceAll(fileName, {bytes, text.size()}, &progress)) return true;
  constexpr uint32_t kOfSystem = 0x80070000;  // an error code of the system as the wider kind
  CkxUtilStr code;
  KxText_AppendFormat(code, KXW("0x%.8X"), kOfSystem | (KxLastError_Get() & 0xFFFF));
  const bool isCut = progress.isCreated && progress.written < text.size();
  KxTrace(EkxTraceLevel::Error, "KxUtilProcMap_Dump",
          isCut ? "ERROR: Failed to write file [" : "ERROR: Failed to open file [", fileName,
          isCut ? "]. hr=" : "] for writing. hr=", code.View());
  return false;
}

}  // namespace

void CkxProcessMap::AppendDump(CkxUtilStr& text) const {
  const CkxSpreadLock::Reading reading(_lock);
  KxText_AppendFormat(text, KXW("*** Process Map start ***\r\n ** %d running processes. **\r\n"), _running.Count());
  AppendRecords(text, _running.Oldest());
  KxText_AppendFormat(text, KXW("\r\n ** %d exited processes. **\r\n"), _exited.Count());
  AppendRecords(text, _exited.Oldest());
  KxText_AppendFormat(text, KXW("*** Process Map end ***\r\n"));
}

bool KxUtilProcMap_GetDump(CkxUtilStr& text) noexcept {
  const CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] {
           CkxUtilStr made;
           map->AppendDump(made);
           text = std::move(made);
           return true;
         });
}

bool KxUtilProcMap_Dump(CkxTextView fileName) noexcept {
  return KxEntry(false, [&] {
    CkxUtilStr text;
    return KxUtilProcMap_GetDump(text) && WriteDump(fileName, KxText_ToUtf8(text.View()));
  });
}
