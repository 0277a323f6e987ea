#include "tools/kxpolicy/trust_input.h"

#include <filesystem>

#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

template <class Add>
void AddEach(const std::vector<std::string>& inputs, const char* what, Add add) {
  for (const std::string& input : inputs) {
    const std::optional<KxWString> path = KxText_FromUtf8(input);
    if (!path || !add(*path)) {
      std::error_code error;
      const auto status = std::filesystem::status(std::u8string(input.begin(), input.end()), error);
      throw CkxToolFault(EkxExit::UnusableInput,
                         input + ": has no " + what + " that can be read" +
                             (std::filesystem::exists(status) ? "" : ": " + KxError_Words(error)));
    }
  }
}

}  // namespace

void SkxTrustOptions::AddTo(const CkxVerbOptions& verb) {
  verb.Add("--trust-store", stores, "Certificates (PEM file, or a folder of them) to trust like the system's")
      .Path()
      .OneValueEach();
  verb.Add("--catalogs", catalogs, "Signatures kept apart from their files (.cat file, or a folder of them)")
      .Path()
      .OneValueEach();
}

CkxTrustInput::CkxTrustInput(const SkxTrustOptions& options) {
  if (options.stores.empty() && options.catalogs.empty()) return;
  CkxTrustStore& store = _store.emplace();
  AddEach(options.stores, "certificates", [&](CkxTextView path) { return store.Add(path); });
  AddEach(options.catalogs, "catalogs", [&](CkxTextView path) { return store.AddCatalogs(path); });
  _scope.emplace(store);
}
