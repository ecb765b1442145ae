// `reelwright dump` and `reelwright check`: the command-line front ends of inspect/.
#ifndef REELWRIGHT_CLI_INSPECTCOMMANDS_H
#define REELWRIGHT_CLI_INSPECTCOMMANDS_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// `dump FILE.nis [--keys]`, `dump FILE.nis [FILE.script] --json [--keys]` (with the script's
// section; by default the script beside the NIS), or `dump FILE.nis --frames [NAME...]` (every
// follower's, or the named followers', world pose at every frame, on to the last statement of
// the script beside the NIS); args are the words after "dump". Exit code: 0 shown and clean, 1
// shown with structural faults (they are part of the dump; a one-line note goes to err), 2
// unreadable file or script, bad arguments or a NAME that names no follower.
int DumpCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
// `check FILE.nis [FILE.script] [--strict]`: one line per error or warning on out. Exit code:
// 0 clean or warnings only, 1 any error (or, with --strict, any warning), 2 unreadable file or
// bad arguments.
int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
