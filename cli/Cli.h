// The `reelwright` command: the dispatch to export, dump, check and preview; --help, --version.
#ifndef REELWRIGHT_CLI_CLI_H
#define REELWRIGHT_CLI_CLI_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// The program's name, as it leads every message.
constexpr const char* kProgram = "reelwright";

// The exit codes of every command.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // the export reported an error; dump found faults, check an error
constexpr int kExitUsage = 2;   // bad arguments, an unreadable input, a refused output: nothing written

// Runs the command given by args (the words after the program name) and returns its exit code.
// Normal output goes to out, errors and warnings to err.
int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// "reelwright: error: MESSAGE" and a pointer to --help on err; returns kExitUsage.
int UsageError(std::ostream& err, const std::string& message);
// "reelwright: FILE: WHAT" on err: the one form of every problem with a named file.
void ReportFileError(std::ostream& err, const std::string& file, const std::string& what);

}  // namespace rw

#endif
