// `reelwright export`: reads a model and runs the plug-in object on it, as the host would.
#ifndef REELWRIGHT_CLI_EXPORTCOMMAND_H
#define REELWRIGHT_CLI_EXPORTCOMMAND_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// Runs `export` with the words after the command's name; streams the log to out (unless
// --quiet), problems to err; returns the exit code.
int ExportCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
