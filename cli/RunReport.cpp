#include "cli/RunReport.h"

#include <ostream>

#include "cli/Cli.h"
#include "inspect/TextFormat.h"

namespace rw {
namespace {

const char* ResultName(int exitCode) {
  if (exitCode == kExitOk) return "ok";
  return exitCode == kExitUsage ? "refused" : "failed";
}

// The message as the log or stderr says it, without the severity and the file: the log's CR LF
// as LF, and without the line end that closes it.
std::string ProblemText(const Diagnostic& diagnostic) {
  std::string text = diagnostic.where.empty() ? std::string() : diagnostic.where + ": ";
  for (size_t i = 0; i < diagnostic.what.size(); ++i) {
    const char c = diagnostic.what[i];
    if (c == '\r' && i + 1 < diagnostic.what.size() && diagnostic.what[i + 1] == '\n') continue;
    text += c;
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

}  // namespace

bool RunReport::HasError() const {
  for (const ReportedProblem& problem : problems)
    if (problem.diagnostic.isError()) return true;
  return false;
}

void WriteRunReportJson(const RunReport& report, int exitCode, std::ostream& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("format");
  json.String("reelwright-report");
  json.Key("version");
  json.Integer(kReportVersion);
  json.Key("command");
  json.String("export");
  json.Key("input");
  json.String(report.input);
  json.Key("nis");
  json.String(report.nis);
  json.Key("script");
  json.String(report.script);
  json.Key("result");
  json.String(ResultName(exitCode));
  json.Key("exitCode");
  json.Integer(exitCode);
  json.Key("problems");
  json.BeginArray();
  for (const ReportedProblem& problem : report.problems) {
    const Diagnostic& diagnostic = problem.diagnostic;
    json.BeginObject();
    json.Key("code");
    json.String(DiagnosticCodeName(diagnostic.code));
    json.Key("severity");
    json.String(diagnostic.isError() ? "error" : "warning");
    if (!diagnostic.bone.empty()) {
      json.Key("bone");
      json.String(diagnostic.bone);
    }
    if (!problem.file.empty()) {
      json.Key("file");
      json.String(problem.file);
    }
    if (diagnostic.offset >= 0) {
      json.Key("offset");
      json.Integer(diagnostic.offset);
    }
    json.Key("text");
    json.String(ProblemText(diagnostic));
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  json.Finish();
}

}  // namespace rw
