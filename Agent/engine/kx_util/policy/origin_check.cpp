// The check of a file's origin, and what is told of the question that ended it.
#include <kx_util/file_origin.h>

#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Common_CPP/util/format.h"

namespace {

void AppendTypeName(CkxUtilStr& text, uint32_t type) {
  const char* const name = CkxFileSrcType::ToStr(static_cast<CkxFileSrcType::EkxType>(type));
  if (name == nullptr) return KxText_AppendFormat(text, KXW("source type %u"), type);
  const std::string_view letters = name;
  text.Append(KxWString(letters.begin(), letters.end()));
}

void AppendOr(CkxUtilStr& text, CkxTextView actual, const WCHAR* otherwise) {
  text.Append(actual.IsEmpty() ? CkxTextView(otherwise) : actual);
}

void AppendDistributors(CkxUtilStr& text, const CkxFileOrigin& origin) {
  const size_t before = text.View().Size();
  for (const CkxFileSrcProcess& process : origin.SourceInstaller().Processes()) {
    const KxWString& name = process.Facts().softwareDistributor;
    if (!name.empty()) KxText_AppendFormat(text, KXW("%s%s"), text.View().Size() > before ? KXW(", ") : KXW(""), name);
  }
  if (text.View().Size() == before) text.Append(KXW("no distributor"));
}

void AppendPackage(CkxUtilStr& text, const CkxFileOrigin& origin) {
  const std::optional<CkxFileSrcPackage>& package =
      origin.Installer().Package() ? origin.Installer().Package() : origin.ParentInstaller().Package();
  if (!package) return text.Append(KXW("no package"));
  const SkxFileSrcPackageFacts& facts = package->Facts();
  KxText_AppendFormat(text, KXW("%s %s, signed by %s"), facts.productName, facts.productVersion,
                      facts.publisher.empty() ? KxWString(KXW("nobody")) : facts.publisher);
}

void AppendMaker(CkxUtilStr& text, const CkxFileOrigin& origin) {
  const std::vector<CkxFileSrcProcess>& makers = origin.Installer().Processes();
  AppendOr(text, makers.empty() ? CkxTextView() : makers.front().MainPath(), KXW("unknown"));
}

void AppendUsers(CkxUtilStr& text, const CkxShBufPropUserList& users) {
  for (const CkxPropNode<CkxShBufPropUserOrGroup>& node : users.Elements()) {
    KxText_AppendFormat(text, KXW("%s%s"), text.IsEmpty() ? KXW("") : KXW(" or "), node.prop.Sid().ToText());
  }
}

/// In the words of whoever wrote the policy.
void AppendExpected(CkxUtilStr& text, const CkxShBufPropFileOrigin& prop, EkxOriginQuestion question) {
  switch (question) {
    case EkxOriginQuestion::Preexisted:
      return text.Append(KXW("there before origins were kept"));
    case EkxOriginQuestion::MainSourceType:
      text.Append(KXW("from "));
      return AppendTypeName(text, prop.MainSourceType());
    case EkxOriginQuestion::DistributionService:
      return KxText_AppendFormat(text, KXW("by %s"), prop.DistributionService().Name());
    case EkxOriginQuestion::Location:
      return KxPropText_Append(text, prop.Location());
    case EkxOriginQuestion::Package:
      return KxText_AppendFormat(text, KXW("in the package %s"),
                                 prop.Package().Name().IsEmpty() ? CkxTextView(KXW("*")) : prop.Package().Name());
    case EkxOriginQuestion::SpawnerProcess:
      return text.Append(prop.SpawnerProcess().Mode() == 1 ? KXW("made by its caller") : KXW("not made by its caller"));
    case EkxOriginQuestion::SourceAddress:
      return KxPropText_Append(text, prop.SourceAddress());
    case EkxOriginQuestion::Users:
      return AppendUsers(text, prop.Users());
    case EkxOriginQuestion::Record:
    case EkxOriginQuestion::None:
      return KxPropText_Append(text, prop);
  }
}

void AppendActual(CkxUtilStr& text, const CkxFileOrigin& origin, EkxOriginQuestion question) {
  switch (question) {
    case EkxOriginQuestion::Preexisted:
      return text.Append(KXW("came later"));
    case EkxOriginQuestion::MainSourceType:
      if (origin.GetMainSourceType() == CkxFileSrcType::None) return text.Append(KXW("from nowhere known"));
      text.Append(KXW("from "));
      return AppendTypeName(text, origin.GetMainSourceType());
    case EkxOriginQuestion::DistributionService:
      return AppendDistributors(text, origin);
    case EkxOriginQuestion::Location:
      return AppendOr(text, origin.SourcePath(), KXW("unknown"));
    case EkxOriginQuestion::Package:
      return AppendPackage(text, origin);
    case EkxOriginQuestion::SpawnerProcess:
      return AppendMaker(text, origin);
    case EkxOriginQuestion::SourceAddress:
      return AppendOr(text, origin.SourceAddress(), KXW("no address"));
    case EkxOriginQuestion::Users: {
      const CkxFileSrcUser* const user = origin.User();
      return AppendOr(text, user != nullptr ? CkxTextView(user->DisplayName()) : CkxTextView(), KXW("unknown"));
    }
    case EkxOriginQuestion::Record:
    case EkxOriginQuestion::None:
      return;
  }
}

}  // namespace

bool KxCheck_Origin(const CkxShBufPropFileOrigin& prop, const CkxTargetInfoFile& file) {
  const EkxOriginQuestion failed = prop.FirstFailure(file);
  return KxObserve_Check("origin", failed == EkxOriginQuestion::None, [&](CkxUtilStr& expected, CkxUtilStr& actual) {
    AppendExpected(expected, prop, failed);
    const CkxFileOrigin* const origin = file.Origin();
    if (origin == nullptr) return actual.Append(KXW("no origin record"));
    AppendActual(actual, *origin, failed);
  });
}
