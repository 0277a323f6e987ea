// How a document is signed and bound to the file that it travels with.
//
// The root has an attribute kxDataId. With the file's identifier in it, the text is what is signed; then the signature
// takes the identifier's place. Reading goes the way back: so a document that is copied to another file, or changed in
// a character, does not hold. Text is replaced where it stands first, and nothing else is written anew, since another
// writer's blanks and quotes are signed too.
#pragma once

#include <kx_util/data_signature.h>

#include <optional>
#include <string>
#include <string_view>

class CkxFileOrigin;
class CkxTiXmlDocument;

class CkxSupFileDataUtil {
 public:
  static constexpr const char* kDataId = "kxDataId";

  static const char* ClassName() { return "CkxSupFileDataUtil"; }

  // The agent's documents have the identifier in decimal, the driver's in hexadecimal: one is never taken for the
  // other.
  static std::string DecimalId(uint64_t fileId);
  static std::string HexadecimalId(uint64_t fileId);

  /// Replaces the first kxDataId="from by kxDataId="to. False, with nothing changed, when there is none.
  static bool ReplaceDataId(std::string& text, std::string_view from, std::string_view to);

  /// In upper-case hexadecimal. Nothing without the secret.
  static std::optional<std::string> GetSignature(std::string_view text, EkxSignatureForm form);

  /// `stored` is taken for the form that its length says. Nothing for a text that is of neither.
  static std::optional<EkxSignatureForm> FormOf(std::string_view stored);

  /// The same of what stands in the root of a document.
  static std::optional<EkxSignatureForm> FormOfDocument(std::string_view text);

  /// Whether `stored` is the signature of `text` once `id` stands in its place there. A no is traced as an error of
  /// `scope`; `noKey` and `noPassPhrase` are what is said where the secret is missing.
  struct Reasons {
    const char* noKey;
    const char* noPassPhrase;
  };
  static bool IsSigned(std::string_view text, std::string_view stored, const std::string& id, EkxSignatureCheck check,
                       std::string_view scope, const Reasons& reasons);

  // --- the agent's documents: <KxAgentData kxDataId="..."><FileOrigin .../></KxAgentData> ---

  static constexpr const char* kAgentRoot = "KxAgentData";

  /// The document of a file's origin, signed, without the part about the file itself.
  static bool OriginToStr(const CkxFileOrigin& origin, uint64_t fileId, std::string& text,
                          EkxSignatureForm form = EkxSignatureForm::Keyed);

  /// False, with nothing changed, for what is no such document, and for one that does not hold for that file.
  static bool OriginFromStr(std::string_view text, uint64_t fileId, EkxSignatureCheck check, CkxFileOrigin& origin);

  /// Signs a document that holds anew, in the keyed form and for the file `fileId`, with the rest of its text as it is.
  static bool SignAnew(std::string& text, uint64_t fileId);

  /// Signs `document`, of which kxDataId becomes the root's first attribute, and prints it.
  static bool XmlToStr(CkxTiXmlDocument& document, uint64_t fileId, std::string& text,
                       EkxSignatureForm form = EkxSignatureForm::Keyed);

  /// Whether `text`, which reads as `document`, holds for that file.
  static bool ValidateXml(std::string_view text, const CkxTiXmlDocument& document, uint64_t fileId,
                          EkxSignatureCheck check);
};
