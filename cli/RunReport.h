// The run's report: one JSON document that says how an export ended and lists every problem
// it met, for programs that drive the command (docs/report-json.md describes it).
#ifndef REELWRIGHT_CLI_RUNREPORT_H
#define REELWRIGHT_CLI_RUNREPORT_H

#include <iosfwd>
#include <string>
#include <vector>

#include "io/Diagnostic.h"

namespace rw {

constexpr int kReportVersion = 1;

// A problem and the file it was found in (empty when it concerns no one file).
struct ReportedProblem {
  std::string file;
  Diagnostic diagnostic;
};

struct RunReport {
  std::string input, nis, script;  // the model and the two outputs, as the command names them
  std::vector<ReportedProblem> problems;

  void Add(const std::string& file, Diagnostic diagnostic) { problems.push_back({file, std::move(diagnostic)}); }
  bool HasError() const;
};

// Writes report as the document of docs/report-json.md, its result read from exitCode
// (0 "ok", 2 "refused", any other "failed").
void WriteRunReportJson(const RunReport& report, int exitCode, std::ostream& out);

}  // namespace rw

#endif
