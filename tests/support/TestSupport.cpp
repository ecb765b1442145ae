#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "log/ExportLog.h"

namespace rw::test {
namespace {

class RecordingWindow final : public LogWindow {
 public:
  explicit RecordingWindow(RecordingPlatform& owner) : owner_(owner) {
    ++owner_.windowsCreated;
    owner_.windowText.clear();
    owner_.printedText.clear();
  }
  ~RecordingWindow() override { ++owner_.windowsDestroyed; }
  void SetText(const std::string& text) override { owner_.windowText = text; }
  void Repaint(uint32_t flags) override { owner_.repaintFlags.push_back(flags); }
  void Printed(const std::string& text) override { owner_.printedText += text; }

 private:
  RecordingPlatform& owner_;
};

}  // namespace

RecordingPlatform::RecordingPlatform(std::string answerPath, bool cancelDialog)
    : answer(std::move(answerPath)), cancel(cancelDialog) {
  SetPlatform(this);
}

// The log's window points back at this platform: end it first, as a module unload would.
RecordingPlatform::~RecordingPlatform() {
  LogCloseAll();
  SetPlatform(nullptr);
}

bool RecordingPlatform::GetSaveFileName(SaveFileRequest& request) {
  Request copy;
  copy.fields = request;
  copy.filterBytes.assign(request.filter, 128);
  copy.fileText = request.file;
  copy.fileTitleText = request.fileTitle;
  copy.defExtBytes.assign(request.defExt, 32);
  requests.push_back(copy);
  if (cancel) return false;
  std::snprintf(request.file, request.maxFile, "%s", answer.c_str());
  return true;
}

void RecordingPlatform::ShowMessageBox(const char* text, const char* caption, uint32_t style) {
  boxes.push_back({text, caption, style});
}

std::unique_ptr<LogWindow> RecordingPlatform::CreateLogWindow() { return std::make_unique<RecordingWindow>(*this); }

ScratchDir::ScratchDir() {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = info ? std::string(info->test_suite_name()) + "." + info->name() : "scratch";
  for (char& c : name)
    if (c == '/') c = '_';
  dir_ = std::string(RW_BINARY_DIR) + "/scratch/" + name;
  std::filesystem::remove_all(dir_);
  std::filesystem::create_directories(dir_);
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

std::string ScratchDir::Path(const std::string& name) const { return dir_ + "/" + name; }

std::string SamplesDir() {
  const char* fromEnvironment = std::getenv("REELWRIGHT_SAMPLES");
  return fromEnvironment && *fromEnvironment ? fromEnvironment : RW_SAMPLES_DIR;
}

std::vector<std::string> SampleModels(std::string& why) {
  std::vector<std::string> models;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(SamplesDir(), error))
    if (entry.path().extension() == ".ms3d") models.push_back(entry.path().string());
  std::sort(models.begin(), models.end());
  if (models.empty())
    why = "sample models not found in " + SamplesDir() +
          " (set REELWRIGHT_SAMPLES or the CMake entry REELWRIGHT_SAMPLES_DIR to their folder)";
  return models;
}

bool SamplesRequired() {
  const char* required = std::getenv("REELWRIGHT_REQUIRE_SAMPLES");
  return required && *required && std::string(required) != "0";
}

std::string ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool FileExists(const std::string& path) { return std::filesystem::exists(path); }

void WriteFileBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
}

std::string FromHex(const std::string& hex) {
  std::string bytes;
  int high = -1;
  for (char c : hex) {
    int v;
    if (c >= '0' && c <= '9') v = c - '0';
    else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
    else continue;
    if (high < 0) {
      high = v;
    } else {
      bytes += static_cast<char>(high * 16 + v);
      high = -1;
    }
  }
  return bytes;
}

std::string ToHex(const std::string& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i) out += ' ';
    const auto b = static_cast<unsigned char>(bytes[i]);
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

Outcome Run(const std::string& dir, const std::string& command) {
  // Each run's stderr gets a file of its own: cases may run side by side in several processes.
  static std::atomic<int> runs{0};
  const std::string errPath = std::string(RW_BINARY_DIR) + "/scratch/stderr." + std::to_string(getpid()) + "." +
                              std::to_string(runs++);
  std::filesystem::create_directories(std::string(RW_BINARY_DIR) + "/scratch");
  const std::string line = (dir.empty() ? "" : "cd '" + dir + "' && ") + "( " + command + " ) 2>'" + errPath + "'";
  Outcome outcome;
  std::FILE* pipe = popen(line.c_str(), "r");
  char buffer[4096];
  for (size_t got; pipe && (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.out.append(buffer, got);
  const int status = pipe ? pclose(pipe) : -1;
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.err = ReadFileBytes(errPath);
  std::remove(errPath.c_str());
  return outcome;
}

bool HaveProgram(const std::string& name) { return Run("", "command -v '" + name + "'").code == 0; }

}  // namespace rw::test
