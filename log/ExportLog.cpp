#include "log/ExportLog.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/Platform.h"

namespace rw {
namespace {

struct ExportLog {
  std::vector<std::string> sections;  // bottom first
  std::vector<Diagnostic> problems;
  std::unique_ptr<LogWindow> window;
};

ExportLog& TheLog() {
  static ExportLog log;
  return log;
}

const std::string kNoText;

std::string FormatText(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  char small[256];
  const int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return std::string();
  if (static_cast<size_t>(needed) < sizeof small) return std::string(small, static_cast<size_t>(needed));
  std::string text(static_cast<size_t>(needed) + 1, '\0');
  std::vsnprintf(&text[0], text.size(), format, args);
  text.resize(static_cast<size_t>(needed));
  return text;
}

void ShowTop() {
  ExportLog& log = TheLog();
  if (log.window && !log.sections.empty()) {
    log.window->SetText(log.sections.back());
    log.window->Repaint(kRdwInvalidate | kRdwErase | kRdwUpdateNow);
  }
}

// Converts, appends to every section bottom to top, and shows the top section.
void Emit(const std::string& message) {
  ExportLog& log = TheLog();
  if (log.sections.empty()) return;
  const std::string text = ConvertLineEnds(message);
  for (std::string& section : log.sections) section += text;
  if (log.window) log.window->Printed(text);
  ShowTop();
}

void LogFormattedProblem(Severity severity, DiagnosticCode code, const std::string& bone, const char* format,
                         va_list args) {
  LogProblem(Diagnostic(severity, -1, std::string(), FormatText(format, args), code, bone));
}

}  // namespace

std::string ConvertLineEnds(const std::string& text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) out += '\r';
    out += text[i];
  }
  return out;
}

void LogPrint(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Emit(FormatText(format, args));
  va_end(args);
}

void LogWarning(DiagnosticCode code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogFormattedProblem(Severity::kWarning, code, std::string(), format, args);
  va_end(args);
}

void LogError(DiagnosticCode code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogFormattedProblem(Severity::kError, code, std::string(), format, args);
  va_end(args);
}

void LogBoneWarning(DiagnosticCode code, const std::string& bone, const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogFormattedProblem(Severity::kWarning, code, bone, format, args);
  va_end(args);
}

void LogProblem(const Diagnostic& problem) {
  ExportLog& log = TheLog();
  if (log.sections.empty()) return;
  Emit(problem.isError() ? kErrorPrefix : kWarningPrefix);
  Emit(problem.what);
  log.problems.push_back(problem);
}

const std::vector<Diagnostic>& LogProblems() { return TheLog().problems; }

void LogOpenSection() { TheLog().sections.emplace_back(); }

void LogCloseSection() {
  ExportLog& log = TheLog();
  if (log.sections.size() > 1) log.sections.pop_back();
}

void LogCloseAll() {
  ExportLog& log = TheLog();
  for (size_t open = log.sections.size(); open > 0; --open) LogEndStage();
  log.sections.clear();
  log.problems.clear();
  log.window.reset();
}

bool LogRefresh() {
  if (!TheLog().window) return false;
  ShowTop();
  return true;
}

void LogOpenStage(const char* name) {
  LogOpenSection();
  LogPrint("%s %s %s\r\n", kSectionRule, name, kSectionRule);
}

void LogEndStage() {
  LogPrint("\r\n%s End %s\r\n", kSectionRule, kSectionRule);
  LogCloseSection();
  LogRefresh();
}

void LogCreateWindow() {
  ExportLog& log = TheLog();
  log.window.reset();
  log.window = CurrentPlatform().CreateLogWindow();
}

size_t LogSectionCount() { return TheLog().sections.size(); }

const std::string& LogSectionText(size_t index) {
  const ExportLog& log = TheLog();
  return index < log.sections.size() ? log.sections[index] : kNoText;
}

const std::string& LogTopText() {
  const ExportLog& log = TheLog();
  return log.sections.empty() ? kNoText : log.sections.back();
}

}  // namespace rw
