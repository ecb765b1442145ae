// Which files an export writes, decided and checked before anything is written.
#ifndef REELWRIGHT_CLI_OUTPUTPLAN_H
#define REELWRIGHT_CLI_OUTPUTPLAN_H

#include <string>
#include <vector>

namespace rw {

struct OutputPaths {
  std::string nis;
  std::string script;
  std::string log;     // empty: no log file
  std::string report;  // empty: no report
};

struct OutputRequest {
  std::string modelPath;
  std::string outputArg;   // -o as given; empty: none
  std::string logPath;     // --log as given; empty: none
  std::string reportPath;  // --report as given; empty: none
  bool force = false;
};

// A refusal: the path it concerns and why.
struct OutputRefusal {
  std::string path;
  std::string what;
};

// A file and what it is to the user ("the model file").
struct NamedFile {
  std::string path;
  std::string role;
};

// Checks that no output is an input or another output (by what the paths resolve to), that none
// exists unless force is set (a link counts; a folder never passes), and that each one's folder
// exists and is writable and its name fits a file name. Outputs with an empty path are skipped.
// True, or false with `refusal`.
bool CheckOutputFiles(const std::vector<NamedFile>& inputs, const std::vector<NamedFile>& outputs, bool force,
                      OutputRefusal& refusal);

// The NIS path: the model's path with ".nis" without -o; with -o naming a folder (or ending in
// a separator), the model's name with ".nis" in that folder; otherwise -o, with ".nis" added
// when its name has no extension. The script beside the NIS path, and the log as given.
OutputPaths ChooseOutputPaths(const OutputRequest& request);

// CheckOutputFiles for the export: the model in, the NIS file, the script, the log and the report out.
bool CheckOutputPaths(const OutputRequest& request, const OutputPaths& paths, OutputRefusal& refusal);
// The same checks for the report alone, the other files counting as inputs: true when a report
// can be written even though another output is refused.
bool CheckReportPath(const OutputRequest& request, const OutputPaths& paths);

}  // namespace rw

#endif
