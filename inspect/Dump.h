// Showing a read NIS document: as indented text for people, or as one JSON document whose
// shape is described in docs/dump-json.md.
#ifndef REELWRIGHT_INSPECT_DUMP_H
#define REELWRIGHT_INSPECT_DUMP_H

#include <ostream>
#include <string>

#include "inspect/NisDocument.h"

namespace rw {

struct DumpOptions {
  bool keys = false;                    // every key of every curve, not only counts and ranges
  const std::string* script = nullptr;  // JSON: the script's text, for the "script" section; null: none
};

void WriteDumpText(const NisDocument& doc, const DumpOptions& options, std::ostream& out);
void WriteDumpJson(const NisDocument& doc, const DumpOptions& options, std::ostream& out);

}  // namespace rw

#endif
