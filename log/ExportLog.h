// The export log: a stack of sections, every print going into all of them, the log window
// showing the top one. One log per process; prints before a run has set it up go nowhere.
#ifndef REELWRIGHT_LOG_EXPORTLOG_H
#define REELWRIGHT_LOG_EXPORTLOG_H

#include <cstddef>
#include <string>
#include <vector>

#include "io/Diagnostic.h"

#if defined(__GNUC__)
#define RW_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define RW_PRINTF(fmt, args)
#endif

namespace rw {

constexpr const char* kSectionRule = "========================";
constexpr const char* kWarningPrefix = "WARNING: ";
constexpr const char* kErrorPrefix = "ERROR: ";

// printf-style. The text brings its own line ends; LF becomes CR LF. Texts of any length are
// kept whole.
void LogPrint(const char* format, ...) RW_PRINTF(1, 2);

// The run's problems: each is printed as "WARNING: " or "ERROR: " and then its message (two
// prints, so a message of several lines has the prefix on its first line only), and kept, with
// its code and the bone it concerns (a path, "Root|Hull"), for LogProblems.
void LogWarning(DiagnosticCode code, const char* format, ...) RW_PRINTF(2, 3);
void LogError(DiagnosticCode code, const char* format, ...) RW_PRINTF(2, 3);
void LogBoneWarning(DiagnosticCode code, const std::string& bone, const char* format, ...) RW_PRINTF(3, 4);
// Prints problem as above (its `what` is the message as printed) and keeps it.
void LogProblem(const Diagnostic& problem);
// Every problem logged since the log was opened, in order; LogCloseAll forgets them.
const std::vector<Diagnostic>& LogProblems();

void LogOpenSection();   // pushes an empty section; prints nothing
void LogCloseSection();  // pops the top section unless it is the only one
void LogCloseAll();      // ends every section, discards all text, destroys the window
bool LogRefresh();       // shows the top section; false when there is no window

// The frame of a stage: open a section and print its head line; print the end line, close
// the section and refresh.
void LogOpenStage(const char* name);
void LogEndStage();

// The driver's part: make and show a new window (the old one, if any, is destroyed first).
void LogCreateWindow();

// What the log holds now, for the driver, the command-line program and tests.
size_t LogSectionCount();
const std::string& LogSectionText(size_t index);  // 0 is the bottom; empty text when out of range
const std::string& LogTopText();                  // empty text when there are no sections

// LF without a CR in front becomes CR LF; CR LF and a lone CR stay.
std::string ConvertLineEnds(const std::string& text);

}  // namespace rw

#endif
