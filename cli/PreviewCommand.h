// `reelwright preview`: the command-line front end of preview/.
#ifndef REELWRIGHT_CLI_PREVIEWCOMMAND_H
#define REELWRIGHT_CLI_PREVIEWCOMMAND_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// `preview FILE.nis [FILE.script] [-o OUT.html] [-f|--force]`; args are the words after
// "preview". Writes one self-contained HTML page (default: the NIS path with ".html"); the
// script defaults to FILE.script beside the NIS when that exists. Exit code: 0 written; 1
// written but the NIS has structural faults (listed in the page, noted on err), or three.js
// was missing at build time, or the page could not be written; 2 bad arguments, an unreadable
// input or an existing output without --force (nothing written).
int PreviewCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
