// The whole export road for the fuzzers: a model read from arbitrary bytes is exported with the
// outputs kept in memory, then read back. Whatever the model holds, the export must finish
// without reading out of bounds, overflowing or hanging; and a run that reports success must have
// written a NIS file of exactly the predicted size that the inspector reads without a fault, in
// which the checks find no error the scene did not cause (names that clash, events that name
// what the file lacks), and a script whose every block names a follower of the file.
#ifndef REELWRIGHT_FUZZ_WHOLEROAD_H
#define REELWRIGHT_FUZZ_WHOLEROAD_H

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "export/ExportDriver.h"
#include "inspect/Check.h"
#include "inspect/NisDocument.h"
#include "log/ExportLog.h"
#include "model/Ms3dReader.h"
#include "nis/NisChunks.h"
#include "platform/Platform.h"
#include "scene/Scene.h"

namespace rw::fuzz {

// Files above this are checked by their size alone: reading them back would cost the fuzzer
// more memory than the run it checks.
constexpr uint64_t kMaxReadBack = uint64_t{64} << 20;
constexpr char kScriptName[] = "fuzz.script";

class InMemoryLogWindow final : public LogWindow {
 public:
  void SetText(const std::string&) override {}
  void Repaint(uint32_t) override {}
};

// Files the export opens are files in memory (memfd), ordinary streams in every other way;
// a second descriptor of each keeps it readable after the export has closed its stream.
class InMemoryPlatform final : public Platform {
 public:
  ~InMemoryPlatform() override {
    for (int fd : outputs) close(fd);
  }

  bool GetSaveFileName(SaveFileRequest&) override { return false; }
  void ShowMessageBox(const char*, const char*, uint32_t) override {}
  std::unique_ptr<LogWindow> CreateLogWindow() override { return std::make_unique<InMemoryLogWindow>(); }
  std::FILE* OpenOutput(const std::string& path, const char*) override {
    const int fd = memfd_create(path.c_str(), 0);
    if (fd < 0) return nullptr;
    outputs.push_back(dup(fd));
    return fdopen(fd, "wb");
  }
  uint64_t Size(size_t index) const {
    struct stat status {};
    return index < outputs.size() && fstat(outputs[index], &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
  }
  std::string Bytes(size_t index) const {
    std::string bytes(static_cast<size_t>(Size(index)), '\0');
    size_t filled = 0;
    while (filled < bytes.size()) {
      const ssize_t got = pread(outputs[index], &bytes[filled], bytes.size() - filled, static_cast<off_t>(filled));
      if (got <= 0) break;
      filled += static_cast<size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
  }

  std::vector<int> outputs;  // the NIS file first, then the script
};

inline void Require(bool condition) {
  if (!condition) __builtin_trap();
}

// The size the export predicts for the model: the scan run again on a fresh copy of it (the scan
// adds keys to the model it reads).
inline uint64_t PredictedSize(msModel* fresh) {
  LogCreateWindow();
  LogOpenSection();
  const uint64_t size = PredictNisSize(ScanScene(fresh));
  LogCloseAll();
  return size;
}

inline bool EndsInBlank(const std::string& text) {
  return !text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r');
}

// A block head the exporter wrote ("with " at the start of a line; events are indented) names a
// follower of the file exactly, and the check, which trims blanks, agrees unless the name ends
// in one. Errors on other lines come from the events' own texts.
inline void CheckScript(const NisDocument& doc, const std::string& script) {
  std::unordered_set<std::string> followers;
  for (const NisFollower& follower : doc.followers) {
    if (follower.name.find('\n') != std::string::npos) return;  // a name that breaks the script's lines
    followers.insert(follower.name);
  }
  std::vector<std::string> lines;
  for (size_t start = 0; start <= script.size();) {
    size_t end = script.find('\n', start);
    if (end == std::string::npos) end = script.size();
    lines.push_back(script.substr(start, end - start));
    start = end + 1;
  }
  const auto isBlockHead = [](const std::string& line) { return line.rfind("with ", 0) == 0; };
  for (const std::string& line : lines)
    if (isBlockHead(line)) Require(followers.count(line.substr(5)) == 1);
  const std::string place = std::string(kScriptName) + " line ";
  for (const Diagnostic& d : CheckScriptText(doc, script, kScriptName)) {
    if (!d.isError()) continue;
    const size_t number = std::stoul(d.where.substr(place.size()));
    const std::string& line = lines[number - 1];
    Require(!isBlockHead(line) || EndsInBlank(line));
  }
}

// Exports the model that read() gives (null: the bytes were refused) and reads back what it
// wrote. read() is called twice: the second model stands in for the first as the scan found it.
inline void ExportAndReadBack(const std::function<ModelPtr()>& read) {
  ModelPtr model = read();
  if (!model) return;
  InMemoryPlatform platform;
  SetPlatform(&platform);
  const bool exported = ExportNis("fuzz.nis", model.get());
  LogCloseAll();
  if (exported) {
    const uint64_t written = platform.Size(0);
    Require(PredictedSize(read().get()) == written);
    if (written <= kMaxReadBack) {
      const std::string nis = platform.Bytes(0);
      NisDocument doc;
      std::string error;
      Require(ReadNisDocument(reinterpret_cast<const uint8_t*>(nis.data()), nis.size(), doc, error));
      Require(doc.faults.empty());
      for (const Diagnostic& d : CheckNisDocument(doc))
        Require(!d.isError() || d.what.find(" is also the name of ") != std::string::npos);
      if (platform.Size(1) <= kMaxReadBack) CheckScript(doc, platform.Bytes(1));
    }
  }
  SetPlatform(nullptr);
}

}  // namespace rw::fuzz

#endif
