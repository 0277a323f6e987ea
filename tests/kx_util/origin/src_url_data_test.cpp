#include <kx_util/src_url_data.h>

#include <gmock/gmock.h>

#include "Common_CPP/registry/registry.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/secret_scope.h"
#include "tests/support/trace_capture.h"
#include "tests/support/utf8.h"

namespace {

constexpr const char* kDeserialize = "ERROR: Failed to deserialize data.";
constexpr const char* kUriIntegrity = "ERROR: Integrity check failed for signature";
constexpr const char* kNoKey = "ERROR: Failed to get expected signature.";
constexpr const char* kNoPhrase = "ERROR: Failed to get expected signature in fall back";

// What `openssl dgst` makes of "https://ex" + U+00E4 + "mple.com/" + U+20AC: -sha256 with -mac HMAC and the keys
// "0123456789abcdef" and "fedcba9876543210", and -sha1 with "pass" behind it.
const WCHAR* const kUri = KXW("https://ex\u00E4mple.com/\u20AC");
const std::string kUtf8 = "https://ex\xC3\xA4mple.com/\xE2\x82\xAC";
const std::string kKeyed = "41ee76712001bde864f0f060d8b4ce793fb280a25fa677e8b131a96c46eb83d0";
const std::string kOtherKeyed = "76417410da370bf0391cb857cb9f6dcd55e3fa353d2c08d041ade4ba3370ac41";
const std::string kOlder = "a5f246afe93106ef09be4f2c0e72cd9ca57ff1f9";

KxBytes FromHex(const std::string& hex) {
  KxBytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

KxBytes UriRecord(const std::string& uri, const KxBytes& signature) {
  CkxRecordBytes record;
  record.U32(static_cast<uint32_t>(uri.size()));
  for (const char byte : uri) record.U8(static_cast<unsigned char>(byte));
  return record.U32(static_cast<uint32_t>(signature.size())).Append(signature).Bytes();
}
KxBytes UriRecord(const std::string& signature) { return UriRecord(kUtf8 + '\0', FromHex(signature)); }

/// The line that says why a record is refused, or nothing.
std::string Refusal(const KxBytes& record, EkxSignatureCheck check = EkxSignatureCheck::OlderToo) {
  const CkxTraceCapture trace;
  const CkxExactBytes exact(record);
  CkxSrcUrlData data;
  const bool isRead = data.FromBytes({exact.cursor, record.size()}, check);
  EXPECT_EQ(data.IsEmpty(), !isRead) << "nothing is read in part";
  if (isRead) return "";
  return trace.Lines().empty() ? "(no line)" : trace.Lines().back().message;
}

TEST(SrcUrlData, ToTheLetter) {
  const CkxSecretScope secrets;
  const std::pair<EkxSignatureForm, std::string> kForms[] = {{EkxSignatureForm::Keyed, kKeyed},
                                                             {EkxSignatureForm::Older, kOlder}};
  for (const auto& [form, signature] : kForms) {
    CkxSrcUrlData data(kUri);
    KxBytes record;
    ASSERT_TRUE(data.ToBytes(record, form));
    EXPECT_EQ(record, UriRecord(signature));
    CkxSrcUrlData read;
    ASSERT_TRUE(read.FromBytes(record, EkxSignatureCheck::OlderToo));
    EXPECT_EQ(read.Uri(), CkxUtilStr(kUri));
    EXPECT_EQ(KxBytes(read.Signature().begin(), read.Signature().end()), FromHex(signature));
  }
}

TEST(SrcUrlData, EveryChangeIsRefused) {
  const CkxSecretScope secrets;
  for (const std::string& signature : {kKeyed, kOlder}) {
    const KxBytes record = UriRecord(signature);
    for (size_t size = 0; size < record.size(); ++size) {
      EXPECT_EQ(Refusal({record.begin(), record.begin() + static_cast<ptrdiff_t>(size)}), kDeserialize) << size;
    }
    KxBytes longer = record;
    longer.push_back(0);
    EXPECT_EQ(Refusal(longer), kDeserialize) << "something behind it";

    const size_t zero = 4 + kUtf8.size();
    for (size_t at = 0; at < record.size(); ++at) {
      for (unsigned flip = 1; flip < 256; flip <<= 1) {
        KxBytes other = record;
        other[at] ^= static_cast<unsigned char>(flip);
        const std::string refusal = Refusal(other);
        if (at >= 4 && at < zero) {  // of the URI: it may be no UTF-8 any more
          EXPECT_THAT(refusal, testing::AnyOf(kDeserialize, kUriIntegrity)) << at;
        } else {
          EXPECT_EQ(refusal, at < zero + 5 ? kDeserialize : kUriIntegrity) << at;
        }
      }
    }
  }
}

TEST(SrcUrlData, WhichRecordsAreRead) {
  const CkxSecretScope secrets({"0123456789abcdef", "fedcba9876543210"});
  const std::string zero(1, '\0');
  const struct {
    const char* what;
    KxBytes record;
    EkxSignatureCheck check;
    const char* refusal;
  } kCases[] = {
      {"by the key of today", UriRecord(kKeyed), EkxSignatureCheck::KeyedAlone, ""},
      {"by the key before", UriRecord(kOtherKeyed), EkxSignatureCheck::KeyedAlone, ""},
      {"older", UriRecord(kOlder), EkxSignatureCheck::OlderToo, ""},
      {"older, once they are not believed", UriRecord(kOlder), EkxSignatureCheck::KeyedAlone, kUriIntegrity},
      {"the beginning of a keyed one", UriRecord(kKeyed.substr(0, 40)), EkxSignatureCheck::OlderToo, kUriIntegrity},
      {"an older one with bytes behind", UriRecord(kOlder + kOlder.substr(0, 24)), EkxSignatureCheck::OlderToo,
       kUriIntegrity},
      {"not signed", UriRecord(""), EkxSignatureCheck::OlderToo, kUriIntegrity},
      {"not signed, and not looked at", UriRecord(""), EkxSignatureCheck::None, ""},
      {"no URI", UriRecord(zero, FromHex(kKeyed)), EkxSignatureCheck::None, kDeserialize},
      {"no zero either", UriRecord("", FromHex(kKeyed)), EkxSignatureCheck::None, kDeserialize},
      {"no zero at the end", UriRecord("http", {}), EkxSignatureCheck::None, kDeserialize},
      {"a zero inside", UriRecord("ht" + zero + "tp" + zero, {}), EkxSignatureCheck::None, kDeserialize},
      {"two zeros", UriRecord("http" + zero + zero, {}), EkxSignatureCheck::None, kDeserialize},
      {"no UTF-8", UriRecord("\xC3" + zero, {}), EkxSignatureCheck::None, kDeserialize},
      {"as large as it may be", UriRecord(std::string(65526, 'u') + zero, {}), EkxSignatureCheck::None, ""},
      {"larger", UriRecord(std::string(65527, 'u') + zero, {}), EkxSignatureCheck::None, kDeserialize},
  };
  for (const auto& row : kCases) EXPECT_EQ(Refusal(row.record, row.check), row.refusal) << row.what;
}

TEST(SrcUrlData, WhichUrisAreWritten) {
  const CkxSecretScope secrets;
  constexpr size_t kMost = 65535 - 4 - 1 - 4 - 32;
  constexpr const char* kSerialize = "ERROR: Failed to serialize uri or signature";
  const struct {
    KxWString uri;
    const char* refusal;
  } kCases[] = {
      {KXW(""), "ERROR: URI is empty."},
      {KxWString(KXW("http")) + static_cast<WCHAR>(0xD800), "ERROR: WideCharToUtf8 failed."},
      {KxWString(KXW("ht")) + WCHAR{} + KXW("tp"), kSerialize},
      {KxWString(kMost, 'u'), ""},
      {KxWString(kMost + 1, 'u'), kSerialize},
      {KxWString(kMost / 3 + 1, 0x20AC), kSerialize},
  };
  for (const auto& row : kCases) {
    const CkxTraceCapture trace;
    CkxSrcUrlData data(row.uri);
    KxBytes record = {1, 2};
    const bool isMade = data.ToBytes(record);
    EXPECT_EQ(isMade ? "" : trace.Lines().back().message, row.refusal) << row.uri.size();
    EXPECT_EQ(record.size(), isMade ? 65535u : 2u);
  }
}

TEST(SrcUrlData, NothingWithoutTheSecret) {
  const KxBytes keyed = UriRecord(kKeyed);
  const KxBytes older = UriRecord(kOlder);
  for (const bool hasProvider : {false, true}) {
    const CkxSecretScope none({}, "");
    if (!hasProvider) KxUtil_SetSecretProvider(nullptr);
    EXPECT_EQ(Refusal(keyed), kNoKey);
    EXPECT_EQ(Refusal(older), kNoPhrase);
    CkxSrcUrlData data(kUri);
    KxBytes record;
    for (const EkxSignatureForm form : {EkxSignatureForm::Keyed, EkxSignatureForm::Older}) {
      const CkxTraceCapture trace;
      EXPECT_FALSE(data.ToBytes(record, form));
      EXPECT_EQ(trace.Lines().back().message, kNoKey);
    }
    EXPECT_TRUE(record.empty());
  }
  const CkxSecretScope phraseAlone({}, "pass");
  EXPECT_EQ(Refusal(keyed), kNoKey);
  EXPECT_EQ(Refusal(older), "");
}

/// What the machine's registry says of the older form.
TEST(SrcUrlData, AsTheMachineIsConfigured) {
  const CkxSecretScope secrets;
  const CkxRuntimeFolderScope scope;
  const WCHAR* const agent = KXW("Software\\Quennart\\Agent");
  const WCHAR* const upgrade = KXW("Software\\QuennartUpgrade\\Agent");
  const WCHAR* const allow = KXW("AllowPassPhrase");
  const WCHAR* const status = KXW("MigrationStatus");
  const auto older = [] { return Refusal(UriRecord(kOlder), EkxSignatureCheck::AsConfigured); };

  EXPECT_EQ(older(), "") << "nothing is said";
  ASSERT_TRUE(KxRegistry_SetNumber(agent, allow, 0));
  EXPECT_EQ(older(), kUriIntegrity);
  EXPECT_EQ(Refusal(UriRecord(kKeyed), EkxSignatureCheck::AsConfigured), "");
  EXPECT_EQ(Refusal(UriRecord(kOlder), EkxSignatureCheck::OlderToo), "") << "who asks for it";
  ASSERT_TRUE(KxRegistry_SetNumber(agent, allow, 1));
  EXPECT_EQ(older(), "");
  ASSERT_TRUE(KxRegistry_SetText(agent, allow, KXW("1")));
  EXPECT_EQ(older(), kUriIntegrity) << "no number: it cannot be told";
  ASSERT_TRUE(KxRegistry_Remove(agent, allow));
  ASSERT_TRUE(KxRegistry_SetText(upgrade, status, KXW("Started")));
  EXPECT_EQ(older(), "");
  ASSERT_TRUE(KxRegistry_SetText(upgrade, status, KXW("Completed")));
  EXPECT_EQ(older(), kUriIntegrity);
  ASSERT_TRUE(KxRegistry_Remove(upgrade, status));
  EXPECT_EQ(older(), "");
}

}  // namespace
