// Policies to judge by, wherever they come from: the folder of a compiled image, or policy documents.
//
//   SkxDocumentError error;
//   const auto policies = CkxPolicies::Open("image", error);
//   if (!policies) return Fail(error.Text());
//
//   const SkxDocumentText documents[] = {{"policies.jsonc", text}};
//   const auto compiled = CkxPolicies::Compile(documents, error);        // and into a folder: compiled->Write("image",
//   error)
//
// Nothing here throws but std::bad_alloc. Paths and texts are UTF-8.
#pragma once

#include <kx_publish/document_error.h>

#include <memory>
#include <optional>
#include <span>
#include <string_view>

class CkxPolicySet;

/// Never changes; copies share what is in it. For any threads.
class CkxPolicies {
 public:
  /// The whole image, of one publication even while it is replaced. Nothing for a folder that is none.
  static std::optional<CkxPolicies> Open(std::string_view folder, SkxDocumentError& error);

  /// All documents together; comments are allowed. Nothing when one is at fault.
  static std::optional<CkxPolicies> Compile(std::span<const SkxDocumentText> documents, SkxDocumentError& error);

  /// Makes `folder` hold the image and nothing else: whole, or what was there stays. A folder that holds other things
  /// is refused.
  bool Write(std::string_view folder, SkxDocumentError& error) const;

 private:
  friend class CkxJudge;
  friend class CkxSummary;
  explicit CkxPolicies(CkxPolicySet&& set);

  std::shared_ptr<const CkxPolicySet> _set;
};
