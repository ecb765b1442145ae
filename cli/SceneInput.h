// What the commands that read a NIS file and its script share: `import` and `preview` take
// NIS [SCRIPT] -o FILE -f alike, and `dump` finds the script beside the NIS the same way.
#ifndef REELWRIGHT_CLI_SCENEINPUT_H
#define REELWRIGHT_CLI_SCENEINPUT_H

#include <ostream>
#include <string>
#include <vector>

#include "inspect/NisDocument.h"

namespace rw {

struct SceneInput {
  std::string nisPath, scriptPath, outputPath;  // scriptPath empty: no script
  bool force = false;
  NisDocument doc;
  std::string script;  // the script's bytes
};

// The script to read for `nisPath`: `given` when not empty, else the .script beside the NIS
// when it is a file, else "".
std::string ChosenScriptPath(const std::string& nisPath, const std::string& given);

// Reads the script at `path` into `text`; when it cannot, says why on err and returns false.
bool ReadScriptOrReport(const std::string& path, std::string& text, std::ostream& err);

// Reads the words of `command` (NIS [SCRIPT] [-o FILE] [-f]): the NIS file, the script (the
// one beside it by default), and an output (default: the NIS's name with `extension`) that may
// be written (`outputWhat` names it in a refusal). Returns kExitOk, or the exit code after
// saying what is wrong on err.
int ReadSceneInput(const std::vector<std::string>& words, const char* command, const char* extension,
                   const char* outputWhat, SceneInput& input, std::ostream& err);

}  // namespace rw

#endif
