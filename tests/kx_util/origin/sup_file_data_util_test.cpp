#include "Agent/engine/kx_util/origin/sup_file_data_util.h"

#include <gmock/gmock.h>

#include "Common_CPP/xml/ti_xml_util.h"
#include "tests/support/secret_scope.h"
#include "tests/support/trace_capture.h"

namespace {

/// What `openssl dgst` makes of each with the identifier in the signature's place, and "0123456789abcdef".
const struct {
  uint64_t fileId;
  const char* child;
  const char* text;
  std::string document;
} kAgentDocuments[] = {
    {255, nullptr, nullptr,
     "<KxAgentData kxDataId=\"87E7E67DA188A52801F994DEF4C53D9BAE1D14EB56FE06445D7A65CD5B83FE33\"/>"},
    {UINT64_MAX, "FileOrigin", nullptr,
     "<KxAgentData kxDataId=\"06AF693DE95ABD51E21C4DF5B477FE000D37F8230AD8A652908AAC16418FEAF1\">"
     "<FileOrigin version=\"1\"/></KxAgentData>"},
    {7, "Path", "kxDataId=\"7\" \xC3\xA4&",  // what looks like the attribute stays as it is
     "<KxAgentData kxDataId=\"695296CD9C3F6A6AADF63CACE66312613881B2AE6FBE3F917466E58C15FC1D19\">"
     "<Path>kxDataId=\"7\" \xC3\xA4&amp;</Path></KxAgentData>"},
};

bool Holds(const std::string& text, uint64_t fileId, EkxSignatureCheck check = EkxSignatureCheck::OlderToo) {
  const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(text);
  return document && CkxSupFileDataUtil::ValidateXml(text, *document, fileId, check);
}

TEST(SupFileDataUtil, SignedToTheLetter) {
  const CkxSecretScope secrets;
  for (const auto& row : kAgentDocuments) {
    CkxTiXmlDocument document("KxAgentData");
    if (row.text != nullptr) {
      CkxTiXmlUtil::AddChild(document.Root(), row.child, KxText_FromUtf8(row.text).value());
    } else if (row.child != nullptr) {
      CkxTiXmlUtil::SetAttribute(CkxTiXmlUtil::AddChild(document.Root(), row.child), "version", uint32_t{1});
    }
    std::string text;
    ASSERT_TRUE(CkxSupFileDataUtil::XmlToStr(document, row.fileId, text));
    EXPECT_EQ(text, row.document);
    EXPECT_TRUE(Holds(text, row.fileId));
    EXPECT_FALSE(Holds(text, row.fileId - 1)) << "of another file";
    for (size_t at = 0; at < text.size(); ++at) {
      std::string other = text;
      other[at] ^= 1;
      EXPECT_FALSE(Holds(other, row.fileId)) << other;
    }
  }
}

TEST(SupFileDataUtil, TheDriversWayOfWritingIdentifiersIsAnother) {
  const CkxSecretScope secrets;
  EXPECT_EQ(CkxSupFileDataUtil::DecimalId(UINT64_MAX), "18446744073709551615");
  EXPECT_EQ(CkxSupFileDataUtil::HexadecimalId(0xFEDCBA9876543210), "fedcba9876543210");
  CkxTiXmlDocument document("KxAgentData");
  std::string text;
  ASSERT_TRUE(CkxSupFileDataUtil::XmlToStr(document, 0x10, text));
  EXPECT_TRUE(Holds(text, 16));
  EXPECT_FALSE(Holds(text, 10)) << "10 is 16 in hexadecimal";
}

TEST(SupFileDataUtil, WhatIsRefused) {
  const CkxSecretScope secrets;
  const std::string older = "<KxAgentData kxDataId=\"BC0BD9D4C9BDC4D0B85CEE770540B64343169E3A\"/>";
  EXPECT_TRUE(Holds(older, 255));
  EXPECT_FALSE(Holds(older, 255, EkxSignatureCheck::KeyedAlone));
  EXPECT_FALSE(Holds("<KxAgentData/>", 255));
  EXPECT_TRUE(Holds("<KxAgentData/>", 255, EkxSignatureCheck::None));
  std::string lowerCase = kAgentDocuments[0].document;
  for (size_t at = lowerCase.find("=\""); at < lowerCase.size(); ++at) {
    if (lowerCase[at] >= 'A' && lowerCase[at] <= 'F') lowerCase[at] = static_cast<char>(lowerCase[at] + 0x20);
  }
  EXPECT_FALSE(Holds(lowerCase, 255));

  const CkxSecretScope none({}, "");
  const CkxTraceCapture trace;
  CkxTiXmlDocument document("KxAgentData");
  std::string text = "as it was";
  EXPECT_FALSE(CkxSupFileDataUtil::XmlToStr(document, 1, text));
  EXPECT_EQ(text, "as it was");
  EXPECT_EQ(trace.Lines().back().message, "ERROR: _GetSignature failed");
  EXPECT_FALSE(Holds(kAgentDocuments[0].document, 255));
  EXPECT_EQ(trace.Lines().back().message, "ERROR: ValidateXml failed");
  CkxTiXmlDocument unprintable("KxAgentData");
  CkxTiXmlUtil::AddChild(unprintable.Root(), "Path", KXW("\u0001"));
  EXPECT_FALSE(CkxSupFileDataUtil::XmlToStr(unprintable, 1, text));
  EXPECT_EQ(trace.Lines().back().message, "ERROR: xmlDoc.Accept failed");
}

}  // namespace
