// Shared by the test programs: a platform that answers the dialog and records what the run
// showed, scratch files, and hex listings.
#ifndef REELWRIGHT_TESTS_SUPPORT_TESTSUPPORT_H
#define REELWRIGHT_TESTS_SUPPORT_TESTSUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace rw::test {

// Answers the save-file dialog with a fixed path (or cancels) and records every request,
// box and window. Installs itself on construction; on destruction it ends the log (which
// destroys the window) and restores the headless platform.
class RecordingPlatform : public Platform {
 public:
  struct Box {
    std::string text, caption;
    uint32_t style;
  };
  struct Request {  // copies of the request's fields and buffers at the time of the call
    SaveFileRequest fields;
    std::string filterBytes;  // all 128 bytes
    std::string fileText, fileTitleText, defExtBytes;  // defExtBytes: all 32 bytes
  };

  explicit RecordingPlatform(std::string answer = "", bool cancel = false);
  ~RecordingPlatform() override;

  bool GetSaveFileName(SaveFileRequest& request) override;
  void ShowMessageBox(const char* text, const char* caption, uint32_t style) override;
  std::unique_ptr<LogWindow> CreateLogWindow() override;

  std::string answer;
  bool cancel;
  std::vector<Request> requests;
  std::vector<Box> boxes;
  int windowsCreated = 0;
  int windowsDestroyed = 0;
  std::string windowText;       // what the newest window shows now
  std::string printedText;      // every print of the newest window, in order
  std::vector<uint32_t> repaintFlags;
};

// A fresh, empty directory under the build tree for this test; removed when the object ends.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  std::string Path(const std::string& name) const;  // dir + "/" + name
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
};

// The folder of the real .ms3d sample models: $REELWRIGHT_SAMPLES, else the CMake entry
// REELWRIGHT_SAMPLES_DIR (by default ../shared/samples/ms3d beside the project).
std::string SamplesDir();
// The .ms3d files in SamplesDir(), sorted. Empty, with `why` naming the folder, when there are
// none. Tests that need them skip then, unless $REELWRIGHT_REQUIRE_SAMPLES is set (the test
// script sets it when it sees the folder), when they fail instead.
std::vector<std::string> SampleModels(std::string& why);
bool SamplesRequired();

std::string ReadFileBytes(const std::string& path);  // empty when missing
bool FileExists(const std::string& path);
void WriteFileBytes(const std::string& path, const std::string& bytes);
// "46 4F 52 4D ..." to bytes; white space and line breaks between pairs are ignored.
std::string FromHex(const std::string& hex);
std::string ToHex(const std::string& bytes);  // upper case, one blank between bytes

// What a program run gave back: its exit code (-1 when it did not exit), stdout and stderr apart.
struct Outcome {
  int code = -1;
  std::string out, err;
};
// Runs a shell command line with /bin/sh, inside dir unless dir is empty.
Outcome Run(const std::string& dir, const std::string& command);
bool HaveProgram(const std::string& name);  // `command -v name` finds it

}  // namespace rw::test

// Skips (or, where the samples are required, fails) the current test when there are no sample
// models; otherwise declares `models` with their paths.
#define RW_SAMPLE_MODELS_OR_SKIP(models)                                                   \
  std::string models##Missing;                                                           \
  const std::vector<std::string> models = ::rw::test::SampleModels(models##Missing);     \
  if (models.empty()) {                                                                  \
    if (::rw::test::SamplesRequired()) FAIL() << models##Missing;                        \
    GTEST_SKIP() << models##Missing;                                                     \
  }

// Declares `path` as the sample model `file` ("hog.ms3d"); skips (or, where the samples are
// required, fails) the current test when it is not there.
#define RW_SAMPLE_MODEL_OR_SKIP(path, file)                                                       \
  const std::string path = ::rw::test::SamplesDir() + "/" + (file);                               \
  if (!::rw::test::FileExists(path)) {                                                            \
    const std::string path##Missing = "sample model " + path +                                    \
                                      " not found (set REELWRIGHT_SAMPLES or the CMake entry "     \
                                      "REELWRIGHT_SAMPLES_DIR to their folder)";                  \
    if (::rw::test::SamplesRequired()) FAIL() << path##Missing;                                   \
    GTEST_SKIP() << path##Missing;                                                                \
  }

#endif
