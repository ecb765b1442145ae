// `reelwright import` (a NIS file as an animated glTF scene) and `reelwright compare` (how far
// two NIS files' motion lies apart), both by the reference evaluation of the scene.
#ifndef REELWRIGHT_CLI_IMPORTCOMMAND_H
#define REELWRIGHT_CLI_IMPORTCOMMAND_H

#include <iosfwd>
#include <string>
#include <vector>

namespace rw {

// `import FILE.nis [FILE.script] [-o SCENE.glb] [-f|--force]`: writes the .glb (default: FILE.glb)
// under the output rules of every command. Exit code: 0 written, 1 written from a file with
// structural faults, 2 bad arguments, an unreadable input or a refused output (nothing written).
int ImportCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err);

// `compare A.nis B.nis [--imported] [--map OLD=NEW]...`: one line per follower of A, its worst
// difference from its match in B over A's frames. Exit code: 0 every follower found and within
// the tolerances, 1 otherwise, 2 bad arguments or an unreadable file.
int CompareCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err);

}  // namespace rw

#endif
