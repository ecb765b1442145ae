// Looking inside NIS files: `reelwright dump` and `reelwright check`. Reads with code of its
// own, not the writer's, so that a mistake in the writer shows up here.
#ifndef REELWRIGHT_INSPECT_INSPECT_H
#define REELWRIGHT_INSPECT_INSPECT_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// `dump FILE.nis [--json] [--keys]`; args are the words after "dump". Returns the exit code:
// 0 shown (structural faults are part of the dump, with a one-line note on err), 2 unreadable
// file or bad arguments (one line on err).
int DumpCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
// `check FILE.nis [FILE.script]`. Returns 0 clean, 1 problems found (one line each on out),
// 2 unreadable file or bad arguments.
int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
