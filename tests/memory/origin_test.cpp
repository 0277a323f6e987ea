// What is kept with files and where they come from, without memory.
#include <gtest/gtest.h>
#include <kx_util/drv_xml_data.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/file_origin.h>
#include <kx_util/kx_util.h>
#include <kx_util/src_email_data.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>
#include <kx_util/target_info_kinds.h>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Common_CPP/util/text.h"
#include "tests/memory/sweep.h"
#include "tests/support/ea_folder.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace kx_no_memory;

TEST(NoMemory, AttributesOfAFile) {
  using Ea = CkxExtFileAttributes;
  const auto parent = KxTest_EaFolder();
  if (!parent) GTEST_SKIP() << "no file system here keeps attributes";
  const CkxTempFolder folder(*parent);
  const KxWString file = folder.Write("file", "content");
  const WCHAR* const path = file.c_str();
  const KxWString longText(100, KXW('v'));
  const auto sweep = [&](const std::string& name, const std::function<bool()>& call) {
    Sweep(
        name,
        [&](Trial& trial) {
          EXPECT_TRUE(Ea::SetToFile(path, "KXAGENTSUPDATA", longText.c_str(), false));
          return YesOrNothing(trial.During(call));
        },
        5);
  };
  Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
  CkxFileFullEaInfo info;
  Ea list;
  sweep("set", [&] { return Ea::SetToFile(path, "KXAGENTURI", longText.c_str(), false); });
  sweep("set by the driver", [&] { return Ea::SetToFile(path, "$KERNEL.PURGE.KXFH", longText.c_str(), false); });
  sweep("got", [&] { return Ea::GetFromFile(path, "KXAGENTSUPDATA", info) && info.ValueLength() == 202; });
  sweep("listed", [&] { return list.LoadAllFromFile(path) && list.GetHeadPosition() != nullptr; });
  sweep("size", [&] { return Ea::GetEaSize(path) != 0; });
  sweep("deleted by its name", [&] { return Ea::DeleteFromFile(path, "KXAGENTSUPDATA"); });
  sweep("deleted by a part of it", [&] { return Ea::DeleteFromFileByPrefix(path, "agent"); });
  sweep("all deleted", [&] { return Ea::DeleteAllFromFile(path); });
  Ea::SetDrvEaHelper(nullptr);
}

TEST(NoMemory, SignedRecords) {
  const CkxSecretScope secrets({"the key of today.....", "the key of yesterday."});
  const KxWString uri = KXW("https://example.com/") + KxWString(60, 'u');
  std::vector<unsigned char> record;
  ASSERT_TRUE(CkxSrcUrlData(uri).ToBytes(record));
  const std::string plain = "<KxDrvData version=\"1\" kxDataId=\"\"><FileCreate time=\"1\"><Path>" +
                            std::string(60, 'p') + "</Path></FileCreate><Process order=\"0\"><Ipv6>" +
                            std::string(32, 'a') + "</Ipv6></Process></KxDrvData>";
  std::string document = plain;
  ASSERT_TRUE(CkxDrvXmlData::Sign(document, 1));
  CkxDrvXmlData driver;
  ASSERT_TRUE(driver.FromXml(document, 1));
  CkxSrcEmailData email;
  email.senderAddress = KxWString(60, 'a');
  std::string xml;
  ASSERT_TRUE(email.ToXml(xml));

  const auto held = [](bool done, const CkxUtilStr& text) {
    EXPECT_EQ(text.IsEmpty(), !done) << "half a record";
    return done ? Answer(KxText_ToUtf8(text.View())) : Answer();
  };
  const std::pair<const char*, Entry> entries[] = {
      {"a URI is signed",
       [&](Trial& trial) {
         CkxSrcUrlData data(uri);
         std::vector<unsigned char> made;
         const bool done = trial.During([&] { return data.ToBytes(made); });
         EXPECT_EQ(made.empty(), !done);
         return done ? Answer(std::string(made.begin(), made.end())) : Answer();
       }},
      {"a URI is read",
       [&](Trial& trial) {
         CkxSrcUrlData data;
         const bool done = trial.During([&] { return data.FromBytes(record, EkxSignatureCheck::OlderToo); });
         return held(done, data.Uri());
       }},
      {"a document is signed",
       [&](Trial& trial) {
         std::string text = plain;
         const bool done = trial.During([&] { return CkxDrvXmlData::Sign(text, 1); });
         EXPECT_EQ(text == plain, !done);
         return done ? Answer(text) : Answer();
       }},
      {"a document is read",
       [&](Trial& trial) {
         CkxDrvXmlData data;
         const bool done = trial.During([&] { return data.FromXml(document, 1, EkxSignatureCheck::OlderToo); });
         EXPECT_EQ(data.IsEmpty(), !done);
         return YesOrNothing(done);
       }},
      {"a process of it",
       [&](Trial& trial) {
         SkxDrvProcessInfo info;
         const bool done = trial.During([&] { return driver.GetProcessInfo(0, info); });
         return held(done, info.address);
       }},
      {"an e-mail is written",
       [&](Trial& trial) {
         std::string text;
         return trial.During([&] { return email.ToXml(text); }) ? Answer(text) : Answer();
       }},
      {"an e-mail is read",
       [&](Trial& trial) {
         CkxSrcEmailData data;
         const bool done = trial.During([&] { return data.FromXml(xml); });
         return held(done, data.senderAddress);
       }},
  };
  for (const auto& [name, entry] : entries) Sweep(name, entry, 1);
}

TEST(WithoutMemory, OriginsAreWholeOrNot) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(
      R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18","groups":["S-1-1-0"]},"commandLine":"a /long-enough-to-be-in-memory",
          "origin":{"installer":{"installTime":1,"processes":[{"wellKnown":"chrome"}],"package":{"type":3,"path":"C:\\package-of-a-long-name.msi"}}},
          "parent":{"kind":"process","path":"C:\\Windows\\explorer.exe"}})");
  const auto& writer = static_cast<const CkxTargetInfoProcess&>(document.Target());
  CkxFileOrigin origin;
  std::string xml;
  ASSERT_TRUE(origin.FillFromProcess(KXW("C:\\file-of-a-long-name.exe"), writer, 5) && origin.ToXml(xml));
  const auto written = [](const CkxFileOrigin& one) {
    std::string text;
    EXPECT_TRUE(one.ToXml(text));
    return text;
  };
  const std::string nothing = written(CkxFileOrigin());
  const std::pair<const char*, Entry> entries[] = {
      {"an origin is filled",
       [&](Trial& trial) {
         CkxFileOrigin filled;
         const bool done =
             trial.During([&] { return filled.FillFromProcess(KXW("C:\\file-of-a-long-name.exe"), writer, 5); });
         EXPECT_EQ(written(filled) == nothing, !done);
         return done ? Answer(written(filled)) : Answer();
       }},
      {"an origin is written",
       [&](Trial& trial) {
         std::string text;
         return trial.During([&] { return origin.ToXml(text); }) ? Answer(text) : Answer();
       }},
      {"an origin is read",
       [&](Trial& trial) {
         CkxFileOrigin read;
         const bool done = trial.During([&] { return read.FromOwnXml(xml); });
         EXPECT_EQ(written(read) == nothing, !done);
         return done ? Answer(written(read)) : Answer();
       }},
  };
  for (const auto& [name, entry] : entries) Sweep(name, entry, 1);
}

/// Whatever fails, what is kept with a file is what was there or what was to be.
TEST(NoMemory, WhatIsKeptWithAFile) {
  using Data = CkxSupplementalFileData;
  const auto parent = KxTest_EaFolder();
  if (!parent) GTEST_SKIP() << "no file system here keeps attributes";
  const CkxTempFolder folder(*parent);
  const CkxSecretScope secrets;
  const KxWString file = folder.Write("file", "content");
  const KxWString other = folder.Write("other", "content");
  CkxFileOrigin origin;
  origin.Preexisted() = true;
  const Data data(origin);
  const auto holds = [](const KxWString& path) {
    Data kept;
    return kept.FromFile(path.c_str()) && kept.Origin().Preexisted();
  };
  const auto sweep = [&](const std::string& name, const std::function<bool()>& call) {
    Sweep(
        name,
        [&](Trial& trial) {
          EXPECT_TRUE(data.ToFile(file.c_str()) && data.ToFile(other.c_str()));
          const Answer answer = YesOrNothing(trial.During(call));
          EXPECT_TRUE(holds(file) && holds(other));
          return answer;
        },
        20);
  };
  sweep("set", [&] { return data.ToFile(file.c_str()); });
  sweep("read", [&] { return holds(file); });
  sweep("copied", [&] { return Data::Copy(file.c_str(), other.c_str()); });
  sweep("signed anew", [&] { return Data::UpdateSignature(file.c_str()); });
  sweep("asked for", [&] { return CkxTargetInfoFile(file.c_str(), nullptr).Origin() != nullptr; });
}

}  // namespace
