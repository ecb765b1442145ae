#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "export/ExportDriver.h"
#include "export/PlugIn.h"
#include "model/MemoryModel.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

long long gClockValue = 0;
long long SteppingClock() { return gClockValue += 3; }  // every run takes "3 seconds"

class PlugInTest : public ::testing::Test {
 protected:
  void SetUp() override {
    LogCloseAll();
    SetExportClock(SteppingClock);
  }
  void TearDown() override {
    SetExportClock(nullptr);
    LogCloseAll();
  }
  // Runs the command as the host does: through the object CreatePlugIn hands out.
  int Run(msModel* model) {
    std::unique_ptr<PlugInInterface> plugIn(CreatePlugIn());
    return plugIn->RunExportCommand(model);
  }
  test::ScratchDir scratch;
};

const std::string kRule = "========================";
std::string Head(const std::string& name) { return kRule + " " + name + " " + kRule + "\r\n"; }
const std::string kEnd = "\r\n" + kRule + " End " + kRule + "\r\n";

std::string RunHead(const std::string& path) {
  return Head("NIS Export") + "Reelwright v0.9.0.0b\r\nExporting NIS to \"" + path +
         "\"...\r\nTrying to attach an LiteIFF chunk to the given file...\r\n";
}

TEST_F(PlugInTest, ObjectAnswersTypeAndOneStableTitleAndANullModelWithMinusOne) {
  test::RecordingPlatform platform(scratch.Path("x.nis"));
  std::unique_ptr<PlugInInterface> plugIn(CreatePlugIn());
  EXPECT_EQ(plugIn->GetPlugInType(), 2);
  const char* title = plugIn->GetPlugInTitle();
  EXPECT_STREQ(title, "Reelwright");
  EXPECT_EQ(plugIn->RunExportCommand(nullptr), -1);
  EXPECT_EQ(plugIn->GetPlugInTitle(), title);
  EXPECT_TRUE(platform.requests.empty());
  EXPECT_TRUE(platform.boxes.empty());
  EXPECT_EQ(platform.windowsCreated, 0);
}

TEST_F(PlugInTest, CancelledDialogLeavesModelAndLogAlone) {
  test::RecordingPlatform platform("", /*cancel=*/true);
  msModel* model = CreateModel();
  const int destroyed = DestroyedModelCount();
  EXPECT_EQ(Run(model), 0);
  EXPECT_EQ(DestroyedModelCount(), destroyed);
  EXPECT_EQ(platform.windowsCreated, 0);
  EXPECT_EQ(LogSectionCount(), 0u);
  EXPECT_TRUE(platform.boxes.empty());

  // The request, field by field.
  ASSERT_EQ(platform.requests.size(), 1u);
  const test::RecordingPlatform::Request& r = platform.requests[0];
  EXPECT_EQ(std::make_tuple(r.fields.structSize, r.fields.filterIndex, r.fields.maxFile, r.fields.maxFileTitle, r.fields.flags),
            std::make_tuple(76u, 0u, 256u, 256u, 0x806u));
  EXPECT_EQ(r.filterBytes, std::string("NIS Files (*.nis)\0*.nis\0All Files (*.*)\0*.*\0", 45) + std::string(83, '\0'));
  EXPECT_EQ(r.fileText + r.fileTitleText, "");
  EXPECT_EQ(r.fields.initialDir, nullptr);
  EXPECT_STREQ(r.fields.title, "Export NIS");
  EXPECT_EQ(r.defExtBytes, std::string("nis") + std::string(29, '\0'));
  msModel_Destroy(model);
}

TEST_F(PlugInTest, UnopenableOutputReportsTheAttachErrorAndDestroysTheModel) {
  const std::string path = scratch.Path("missing-folder/out.nis");
  test::RecordingPlatform platform(path);
  const int destroyed = DestroyedModelCount();
  EXPECT_EQ(Run(CreateModel()), 0);
  EXPECT_EQ(DestroyedModelCount(), destroyed + 1);

  const std::string error =
      "ERROR: Unable to attach an IFF chunk to given file output!\r\n"
      "\t-> Make sure that the file is not being accessed by another application\r\n"
      "\t-> Nothing written...\r\n";
  ASSERT_EQ(LogSectionCount(), 2u);  // both sections stay open, no timing line
  EXPECT_EQ(LogSectionText(0), RunHead(path) + error);
  EXPECT_EQ(platform.windowText, RunHead(path) + error);
  ASSERT_EQ(platform.boxes.size(), 1u);
  EXPECT_EQ(platform.boxes[0].text, "Error while exporting NIS...\nWritten file may not be usable...");
  EXPECT_EQ(platform.boxes[0].caption, "Reelwright");
  EXPECT_EQ(platform.boxes[0].style, 0u);
  EXPECT_FALSE(test::FileExists(scratch.Path("missing-folder/out.script")));
}

// A model without bones or comment: every stage runs and writes its placeholders over the old file.
TEST_F(PlugInTest, EmptyModelExportsTheWholeRoadAndReportsSuccess) {
  const std::string path = scratch.Path("empty.nis");
  test::WriteFileBytes(path, std::string(5000, 'x'));  // an existing file is replaced, not appended to
  test::RecordingPlatform platform(path);
  EXPECT_EQ(Run(CreateModel()), 0);

  const std::string log =
      RunHead(path) + "\r\n" +
      "WARNING: No Frames per second given!\r\n\t-> Defaulting to 24\r\n"
      "ERROR: No frames found! Make sure you have keyframes defined!\r\n"
      "\r\n" +
      Head("NIS Header") +
      "NAME chunk: 'Homeworld2 NIS File'\r\nVERS chunk: '256'\r\n"
      "Animation FPS: 24\r\nStart Time: 0\r\nEnd Time: 0\r\n" +
      kEnd + Head("Animation Curves") + kEnd + Head("Leaders") + kEnd + Head("Followers") + kEnd +
      Head("Cameras") + kEnd + kEnd + Head("NIS Script Export") + "Opening file '" + scratch.Path("empty.script") +
      "' for exporting script...\r\nExporting global events...\r\nExporting local events...\r\nDone.\r\n" + kEnd +
      "Done. Export took about 3 seconds.\r\n";
  ASSERT_EQ(LogSectionCount(), 1u);
  EXPECT_EQ(LogSectionText(0), log);
  EXPECT_EQ(platform.windowText, log);
  EXPECT_EQ(platform.printedText, log);
  ASSERT_EQ(platform.boxes.size(), 1u);
  EXPECT_EQ(platform.boxes[0].text, "Successfully Exported NIS!");

  // Framing: FORM, the header chunks at their fixed offsets, then the four placeholder chunks.
  const std::string nis = test::ReadFileBytes(path);
  ASSERT_EQ(nis.size(), 539u);
  EXPECT_EQ(test::ToHex(nis.substr(0, 71)),
            test::ToHex(test::FromHex("464F524D 00000213 4E495320"                       // FORM, 531, NIS
                                      "4E414D45 00000013 486F6D65776F726C64 32204E4953 2046696C65"  // NAME
                                      "56455253 00000004 00010000"                       // VERS 256
                                      "494E464F 0000000C 18000000 00000000 00000000")));  // INFO 24, 0, 0
  const std::pair<size_t, const char*> heads[] = {{71, "414E494D 0000005E"},   // ANIM, 94
                                                  {173, "4C454144 0000009E"},  // LEAD, 158
                                                  {339, "464F4C57 000000B4"},  // FOLW, 180
                                                  {527, "434D5241 00000004"}};  // CMRA, 4
  for (const auto& [offset, hex] : heads) EXPECT_EQ(test::ToHex(nis.substr(offset, 8)), test::ToHex(test::FromHex(hex)));
  EXPECT_EQ(test::ReadFileBytes(scratch.Path("empty.script")), "");
}

TEST_F(PlugInTest, SecondRunStartsWithAnEmptyLogInANewWindow) {
  test::RecordingPlatform platform(scratch.Path("first.nis"));
  EXPECT_EQ(Run(CreateModel()), 0);
  platform.answer = scratch.Path("second.nis");
  EXPECT_EQ(Run(CreateModel()), 0);
  EXPECT_EQ(platform.windowsCreated, 2);
  EXPECT_EQ(platform.windowsDestroyed, 1);
  const std::string& log = LogSectionText(0);
  EXPECT_EQ(log.rfind(Head("NIS Export"), 0), 0u);
  EXPECT_EQ(log.find("first.nis"), std::string::npos);
  EXPECT_NE(log.find("second.nis"), std::string::npos);
  EXPECT_EQ(platform.printedText, log);
}

}  // namespace
}  // namespace rw
