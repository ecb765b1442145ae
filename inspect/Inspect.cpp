#include "inspect/Inspect.h"

#include <ostream>

#include "inspect/Check.h"
#include "inspect/Dump.h"
#include "inspect/NisDocument.h"

namespace rw {
namespace {

constexpr int kExitClean = 0;
constexpr int kExitProblems = 1;
constexpr int kExitUnreadable = 2;

bool IsOption(const std::string& arg) { return arg.size() > 1 && arg[0] == '-'; }

// Reads path into doc; when it cannot, says why on err in one line and returns false.
bool ReadOrReport(const std::string& path, NisDocument& doc, std::ostream& err) {
  std::string error;
  if (ReadNisFile(path, doc, error)) return true;
  err << "reelwright: " << path << ": " << error << "\n";
  return false;
}

}  // namespace

int DumpCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  DumpOptions options;
  bool json = false;
  std::vector<std::string> files;
  for (const std::string& arg : args) {
    if (arg == "--json") {
      json = true;
    } else if (arg == "--keys") {
      options.keys = true;
    } else if (IsOption(arg)) {
      err << "reelwright: dump: unknown option '" << arg << "'\n";
      return kExitUnreadable;
    } else {
      files.push_back(arg);
    }
  }
  if (files.size() != 1) {
    err << "usage: reelwright dump FILE.nis [--json] [--keys]\n";
    return kExitUnreadable;
  }
  NisDocument doc;
  if (!ReadOrReport(files[0], doc, err)) return kExitUnreadable;
  if (json) {
    WriteDumpJson(doc, options, out);
  } else {
    WriteDumpText(doc, options, out);
  }
  // The faults are part of the dump; the note keeps them from passing unseen in a pipe.
  if (!doc.faults.empty()) {
    err << "reelwright: " << files[0] << ": " << doc.faults.size() << " structural fault"
        << (doc.faults.size() == 1 ? "" : "s") << ", listed in the dump\n";
  }
  return kExitClean;
}

int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  std::vector<std::string> files;
  for (const std::string& arg : args) {
    if (IsOption(arg)) {
      err << "reelwright: check: unknown option '" << arg << "'\n";
      return kExitUnreadable;
    }
    files.push_back(arg);
  }
  if (files.empty() || files.size() > 2) {
    err << "usage: reelwright check FILE.nis [FILE.script]\n";
    return kExitUnreadable;
  }
  NisDocument doc;
  if (!ReadOrReport(files[0], doc, err)) return kExitUnreadable;
  std::vector<NisProblem> problems = CheckNisDocument(doc);
  if (files.size() == 2) {
    std::string text, error;
    if (!ReadWholeFile(files[1], text, error)) {
      err << "reelwright: " << files[1] << ": " << error << "\n";
      return kExitUnreadable;
    }
    std::vector<NisProblem> more = CheckScriptText(doc, text, files[1]);
    problems.insert(problems.end(), more.begin(), more.end());
  }
  for (const NisProblem& p : problems) out << ProblemLine(p) << "\n";
  return problems.empty() ? kExitClean : kExitProblems;
}

}  // namespace rw
