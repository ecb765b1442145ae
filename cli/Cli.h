// The `reelwright` command: export, dump, check, --help, --version.
#ifndef REELWRIGHT_CLI_CLI_H
#define REELWRIGHT_CLI_CLI_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

constexpr int kExitOk = 0;
constexpr int kExitExportFailed = 1;  // the export ran and reported failure
constexpr int kExitUsage = 2;         // bad arguments, unreadable model, refused output path

// Runs the command given by args (the words after the program name) and returns its exit code.
// Normal output goes to out, errors and warnings to err.
int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
