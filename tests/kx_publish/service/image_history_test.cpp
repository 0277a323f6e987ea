// Which image comes back in force, in memory and from a folder.
#include "Agent/engine/kx_publish/service/image_history.h"

#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/image/image_manifest.h"
#include "tests/support/temp_folder.h"

namespace {

/// Told from others by the one policy that it is about.
SkxPolicyImage ImageOf(char letter) {
  SkxPolicyImage image;
  image.applicable = "{\"*\": [" + std::to_string(int{letter}) + "]}";
  return image;
}

std::string DigestOf(char letter) { return KxImageManifest_Digest(ImageOf(letter)); }

/// Current, previous, and which was withdrawn: "BA-".
std::string Told(const CkxImageHistory& history) {
  std::string told = "---";
  const SkxImageHistoryState& state = history.State();
  for (const char letter : {'A', 'B', 'C'}) {
    if (state.current && state.current->image.applicable == ImageOf(letter).applicable) told[0] = letter;
    if (state.previous && state.previous->digest == DigestOf(letter)) told[1] = letter;
    if (state.withdrawn == DigestOf(letter)) told[2] = letter;
  }
  return told;
}

bool PutInForce(CkxImageHistory& history, SkxPolicyImage image, std::string& error) {
  history.Take(history.AfterPuttingInForce(std::move(image)));
  return history.Keep(error);
}

bool RollBack(CkxImageHistory& history, std::string& error) {
  history.Take(history.AfterRollback());
  return history.Keep(error);
}

/// A letter puts that image in force, "!" rolls back. Each step is seen by whoever opens the folder after it, too.
TEST(ImageHistory, GoesOneStepBack) {
  const struct {
    const char* steps;
    const char* told;
  } cases[] = {{"A", "A--"},    {"AA", "A--"},   {"AB", "BA-"},   {"ABB", "BA-"},  {"ABC", "CB-"},
               {"AB!", "A-B"},  {"AB!C", "CA-"}, {"AB!B", "BA-"}, {"AB!A", "A--"}, {"ABA", "AB-"},
               {"ABA!", "B-A"}, {"ABC!", "B-C"}, {"AB!C!", "A-C"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.steps);
    const CkxTempFolder work;
    const KxWString folder = work.Text("kept");
    std::string error;
    CkxImageHistory inMemory;
    for (const char* step = c.steps; *step != 0; ++step) {
      CkxImageHistory onDisk;
      ASSERT_TRUE(onDisk.Open(folder, error)) << error;
      for (CkxImageHistory* const history : {&inMemory, &onDisk}) {
        EXPECT_TRUE(*step == '!' ? RollBack(*history, error) : PutInForce(*history, ImageOf(*step), error)) << error;
      }
    }
    CkxImageHistory again;
    ASSERT_TRUE(again.Open(folder, error)) << error;
    EXPECT_EQ(Told(inMemory), c.told);
    EXPECT_EQ(Told(again), c.told);
  }
}

TEST(ImageHistory, TakesNothingForKeptThatIsNot) {
  std::string error;
  const CkxTempFolder work;
  work.Write("notes.txt", "somebody's");
  EXPECT_FALSE(CkxImageHistory().Open(work.Text(""), error));
  EXPECT_NE(error.find("notes.txt: is no part of kept images"), std::string::npos) << error;
  EXPECT_FALSE(CkxImageHistory().Open(work.Text("notes.txt"), error)) << "no folder";

  for (const char* const file : {"current/notes.txt", "previous/notes.txt"}) {
    const CkxTempFolder others;
    std::filesystem::create_directory((others.Path() / file).parent_path());
    others.Write(file, "somebody's");
    EXPECT_FALSE(CkxImageHistory().Open(others.Text(""), error)) << file;
    EXPECT_NE(error.find("notes.txt: is no part of kept images"), std::string::npos) << error;
  }

  const CkxTempFolder damaged;
  CkxImageHistory history;
  ASSERT_TRUE(history.Open(damaged.Text(""), error)) << error;
  ASSERT_TRUE(PutInForce(history, ImageOf('A'), error) && PutInForce(history, ImageOf('B'), error)) << error;
  damaged.Write("current/applicable.json", "{");
  damaged.Write("withdrawn", std::string(64, 'g'));
  CkxImageHistory again;
  ASSERT_TRUE(again.Open(damaged.Text(""), error)) << error;
  EXPECT_EQ(Told(again), "-A-");
  EXPECT_FALSE(again.State().withdrawn);
  ASSERT_TRUE(PutInForce(again, ImageOf('A'), error)) << error;
  EXPECT_EQ(Told(again), "A--") << "there is no other one to go back to";

  std::filesystem::remove_all(damaged.Path() / "withdrawn");
  std::filesystem::create_directory(damaged.Path() / "withdrawn");
  EXPECT_FALSE(CkxImageHistory().Open(damaged.Text(""), error)) << "what was withdrawn might come back";
  EXPECT_NE(error.find("withdrawn: cannot be read"), std::string::npos) << error;
}

/// An old signature may not count any more when the image is needed again.
TEST(ImageHistory, KeepsTheSignatureThatCameLast) {
  const CkxTempFolder work;
  std::string error;
  CkxImageHistory history;
  ASSERT_TRUE(history.Open(work.Text(""), error)) << error;
  for (const char signature : {'1', '2'}) {
    SkxPolicyImage image = ImageOf('A');
    image.signature.emplace(1, static_cast<unsigned char>(signature));
    ASSERT_TRUE(PutInForce(history, std::move(image), error)) << error;
    EXPECT_EQ(history.State().current->image.signature->front(), signature);
    EXPECT_EQ(work.Read("current/image.p7s"), std::string(1, signature));
    EXPECT_FALSE(history.State().previous);
  }
}

}  // namespace
