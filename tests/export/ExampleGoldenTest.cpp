// The bundled example, exported through the plug-in object, against its committed outputs:
// examples/golden/fleet.nis, fleet.script and fleet.log (the log as the window holds it, CR LF,
// with the output folder written as "<out>"), and what `dump` shows of the NIS file (fleet.dump).
// The goldens were checked by hand, value by value.
// RW_UPDATE_GOLDEN=1 rewrites them instead of comparing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>

#include "export/ExportDriver.h"
#include "export/PlugIn.h"
#include "inspect/Dump.h"
#include "model/Ms3dReader.h"
#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

long long FixedClock() { return 1000; }

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

TEST(ExampleGolden, FleetExportsToItsCommittedBytes) {
  test::ScratchDir scratch;
  Ms3dReadResult read = ReadMs3dFile(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d");
  ASSERT_TRUE(read.ok());
  SetExportClock(FixedClock);
  std::string log;
  {
    test::RecordingPlatform platform(scratch.Path("fleet.nis"));
    std::unique_ptr<PlugInInterface> plugIn(CreatePlugIn());
    EXPECT_EQ(plugIn->RunExportCommand(read.model.release()), 0);
    ASSERT_EQ(platform.boxes.size(), 1u);
    EXPECT_EQ(platform.boxes[0].text, kSuccessText);
    log = LogSectionText(0);
    EXPECT_EQ(platform.windowText, log);
  }
  SetExportClock(nullptr);

  const std::string golden = std::string(RW_EXAMPLES_DIR) + "/golden/";
  const std::string nis = test::ReadFileBytes(scratch.Path("fleet.nis"));
  NisDocument doc;
  std::string error;
  EXPECT_TRUE(ReadNisDocument(reinterpret_cast<const uint8_t*>(nis.data()), nis.size(), doc, error)) << error;
  std::ostringstream dump;
  WriteDumpText(doc, DumpOptions(), dump);
  const std::pair<std::string, std::string> outputs[] = {
      {"fleet.nis", nis},
      {"fleet.dump", dump.str()},
      {"fleet.script", test::ReadFileBytes(scratch.Path("fleet.script"))},
      {"fleet.log", ReplaceAll(log, scratch.dir(), "<out>")},
  };
  const bool update = std::getenv("RW_UPDATE_GOLDEN") != nullptr;
  for (const auto& [name, bytes] : outputs) {
    if (update) test::WriteFileBytes(golden + name, bytes);
    EXPECT_EQ(bytes, test::ReadFileBytes(golden + name)) << name << " differs from its golden";
  }
}

}  // namespace
}  // namespace rw
