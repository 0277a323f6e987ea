#include "Agent/engine/kx_util/target/com_server.h"

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/target/machine_variables.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

namespace {

struct SkxServerKey {
  const WCHAR* name;
  KxWString (*file)(CkxTextView registered);  ///< the path in what is registered
};

KxWString Unquoted(CkxTextView text) {
  const bool isQuoted = text.Size() >= 2 && text.Front() == KXW('"') && text.Back() == KXW('"');
  return (isQuoted ? text.Part(1, text.Size() - 2) : text).ToString();
}

/// A library is registered by its path alone.
KxWString LibraryOf(CkxTextView registered) { return Unquoted(KxText_Trim(registered)); }

/// A program is registered with its arguments, its path often without the quotes that its blanks ask for.
KxWString ProgramOf(CkxTextView registered) {
  const CkxTextView line = KxText_Trim(registered);
  const CkxTextView program = KxCommandLine_TakeApart(line).program;
  if (program.IsEmpty() || program.Front() == KXW('"')) return Unquoted(program);
  constexpr const WCHAR* kExtension = KXW(".exe");
  for (size_t end = program.Size(); end <= line.Size(); ++end) {
    if ((end == line.Size() || line[end] == KXW(' ')) &&
        KxText_Equals(KxPath_Extension(line.Part(0, end)), kExtension, false)) {
      return line.Part(0, end).ToString();
    }
  }
  return program.ToString();
}

constexpr SkxServerKey kProgram = {KXW("LocalServer32"), ProgramOf};
constexpr SkxServerKey kLibrary = {KXW("InprocServer32"), LibraryOf};

/// A name alone is a file of the system's folder.
std::optional<KxWString> FullPath(const KxWString& registered) {
  const KxWString file = KxMachineVariables_Expand(registered);
  const bool isUnknown = file.empty() || file.front() == KXW('%') || file.find(KXW('"')) != KxWString::npos;
  if (isUnknown) return std::nullopt;
  if (!KxPath_Folder(file).IsNull()) return file;
  const CkxTextView windows = KxMachine_Facts().WindowsFolder();
  return windows.IsEmpty() ? std::nullopt : std::optional(windows.ToString() + KXW("\\System32\\") + file);
}

std::optional<KxWString> Registered(CkxTextView classKey, const SkxServerKey& server) {
  for (const EkxRegistryView view : {EkxRegistryView::Own, EkxRegistryView::Of32Bits}) {
    const std::optional<KxWString> text = KxRegistry_Text(classKey.ToString() + server.name, {}, view);
    if (text && !text->empty()) return FullPath(server.file(*text));
  }
  return std::nullopt;
}

}  // namespace

std::optional<KxWString> KxComServer_File(CkxTextView classId, EkxComUse use) {
  const std::optional<GUID> id = KxGuid_FromUtf8(KxText_ToUtf8(classId));
  if (!id) return std::nullopt;
  const KxWString key = KXW("SOFTWARE\\Classes\\CLSID\\") + KxGuid_ToText(*id) + KXW("\\");
  const bool isElevated = use == EkxComUse::Elevated;
  std::optional<KxWString> file = Registered(key, isElevated ? kProgram : kLibrary);
  return file ? file : Registered(key, isElevated ? kLibrary : kProgram);
}
