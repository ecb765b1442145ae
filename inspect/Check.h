// Checking that the names of a NIS file (and of its .script) fit together, and that its
// structure is sound.
#ifndef REELWRIGHT_INSPECT_CHECK_H
#define REELWRIGHT_INSPECT_CHECK_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/NisDocument.h"

namespace rw {

// One problem: where it stands ("LEAD #2 translateXCurve", "a.script line 7"), the file offset
// when it has one, and what is wrong.
struct NisProblem {
  std::string where;
  std::optional<uint32_t> offset;
  std::string message;
};

// The document's structural faults first, then every reference that resolves nowhere, every
// duplicate name, and a title or version that is not the format's, in file order.
std::vector<NisProblem> CheckNisDocument(const NisDocument& doc);
// The `with NAME` blocks and the "attack" and "cameraCut" arguments of a script against the
// document's followers and cameras. `scriptName` is used in each problem's place.
std::vector<NisProblem> CheckScriptText(const NisDocument& doc, const std::string& text, const std::string& scriptName);
// "where at OFFSET: message", or "where: message" without an offset.
std::string ProblemLine(const NisProblem& problem);

}  // namespace rw

#endif
