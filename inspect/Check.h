// Checking that the names of a NIS file (and of its .script) fit together, and that its
// structure is sound. Errors say the file is broken; warnings point at what is legal but
// suspicious (the game plays such files).
#ifndef REELWRIGHT_INSPECT_CHECK_H
#define REELWRIGHT_INSPECT_CHECK_H

#include <string>
#include <vector>

#include "inspect/NisDocument.h"
#include "io/Diagnostic.h"

namespace rw {

// The document's structural faults first (errors), then the title and version, duplicate
// names, and every reference that resolves nowhere, in file order. A reference into a chunk
// that is missing or was only partly read is not followed: the chunk's own fault stands for it.
std::vector<Diagnostic> CheckNisDocument(const NisDocument& doc);
// The `with NAME` blocks and the "attack" and "cameraCut" arguments of a script against the
// document's followers and cameras (errors), and what the script reader had to guess at
// (warnings), in line order. `scriptName` leads each diagnostic's place ("x.script line 7");
// script diagnostics have no byte offset.
std::vector<Diagnostic> CheckScriptText(const NisDocument& doc, const std::string& text, const std::string& scriptName);

}  // namespace rw

#endif
