// A .script as the import and the inspector read it: the statements as JSON (the page and
// `dump --json` show the same), and the events an import keeps, with the names it gave.
// docs/dump-json.md describes the "script" section these make.
#ifndef REELWRIGHT_INSPECT_SCRIPTEVENTS_H
#define REELWRIGHT_INSPECT_SCRIPTEVENTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "inspect/ImportNames.h"
#include "inspect/SceneReading.h"
#include "inspect/TextFormat.h"
#include "scriptlang/ScriptReader.h"

namespace rw {

// One event of the import: a call at its time, its quoted names rewritten to the import's node
// names; `arguments` is the text between the parentheses.
struct ImportEvent {
  size_t line = 0;
  size_t node = kNoIndex;    // the node of its `with` block; kNoIndex: a global event
  size_t target = kNoIndex;  // cameraCut and attack: the node they name
  double seconds = 0;
  std::string function, arguments;
};

struct ImportEventChoice {
  std::vector<ImportEvent> events;   // in the script's order
  std::vector<std::string> leftOut;  // what the import leaves out and why, one line each
};

// The events an import of `scene` into `nodes` (ImportNodes) keeps from `text`: every call,
// but a cameraCut or attack naming no follower (the export would refuse it), arguments holding
// "|" (an event's text cannot), a time that is no finite number, and a block naming no follower. A name is found as a
// follower's, a camera record's, the last part of a follower's name path, or a node's own.
ImportEventChoice ChooseImportEvents(const ScriptText& text, const SceneReading& scene,
                                     const std::vector<ImportedNode>& nodes);

// The time of the script's last statement in seconds (0 for none): the scene plays on to it.
double LastStatementSeconds(const ScriptText& text, double framesPerSecond);

// Writes the keys "statements" and "problems" (the reader's) into an open JSON object.
void WriteScriptStatements(const ScriptText& text, double framesPerSecond, JsonWriter& json);

// Writes the key "script" and its object (statements, problems, events, leftOut) into an open
// JSON object.
void WriteScriptSection(const ScriptText& text, const SceneReading& scene, const std::vector<ImportedNode>& nodes,
                        JsonWriter& json);

}  // namespace rw

#endif
