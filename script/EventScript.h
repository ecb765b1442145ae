// The event script: events written by the artist into comments ("Event3=48|attack|\"Ship1\""),
// read into lists and written as statements of the .script file beside the NIS file.
//
// An event text has three fields separated by "|": time, function (everything between the
// first and the last "|") and arguments (everything behind the last "|"). Nothing is trimmed.
#ifndef REELWRIGHT_SCRIPT_EVENTSCRIPT_H
#define REELWRIGHT_SCRIPT_EVENTSCRIPT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/msLib.h"
#include "scene/BoneLookup.h"
#include "scene/Scene.h"

namespace rw {

// The event texts of one comment, entry i from the key "Event" + i, in index order. A key the
// comment lacks leaves an empty text.
using EventList = std::vector<std::string>;

// No comment of 1023 characters can hold this many events; a larger "Num Events" is a typo,
// and reading it literally would mean billions of entries.
constexpr int32_t kMaxEventCount = 10000;

// The key of an event list's count.
constexpr const char* kEventCountKey = "Num Events";
// "Event" followed by the index in plain decimal: the key of entry index of an event list.
std::string EventKey(uint32_t index);

// The count of "Num Events" in comment, truncated to an integer; 0 when absent or not a number.
int32_t ReadEventCount(const std::string& comment);
// The event list of comment: one entry per index below the count, at most kMaxEventCount.
EventList ReadEventList(const std::string& comment);

// True when eventText has at least two "|", so that all three fields are delimited.
bool IsWellFormedEvent(const std::string& eventText);
// The time field (before the first "|", the whole text when there is none) read as number
// text and truncated: "12.9" gives 12, "-3" and "" give 0.
int32_t ParseEventTime(const std::string& eventText);
// Everything between the first and the last "|"; empty when the text has fewer than two.
std::string GetEventFunction(const std::string& eventText);
// Everything behind the last "|"; the whole text when it has none.
std::string GetEventArguments(const std::string& eventText);

// Writes "indent function(arguments)\n" to file. For the functions "cameraCut" and "attack"
// the arguments, unquoted, name a bone (found in lookup; no bone gives the path "Root|") and
// become "\"FOLW_" + its path + "\"". Callers pass only well-formed texts.
void WriteEventStatement(std::FILE* file, const std::string& eventText, const BoneLookup& lookup, const char* indent);

// The global section: a time line "at T" whenever the time changes, one statement per event
// indented by one tab, then an empty line. Malformed texts are left out silently; a list
// without any well-formed text writes nothing.
void WriteGlobalEvents(std::FILE* file, const EventList& events, const BoneLookup& lookup);
// The block of one bone: "with FOLW_" + bonePath, braces, time lines indented by one tab,
// statements by two, then an empty line. Malformed texts are left out silently; a list
// without any well-formed text writes nothing, not even the braces.
void WriteLocalEvents(std::FILE* file, const BoneLookup& lookup, const std::string& bonePath, const EventList& events);

// Logs a warning for each text of events that WriteGlobalEvents and WriteLocalEvents leave
// out, naming the key and whose comment holds it: the bone at bonePath ("Root|Hull"), or the
// model when bonePath is empty. A run of consecutive empty texts (keys the comment lacks) gets
// one warning.
void WarnMalformedEvents(const EventList& events, const std::string& bonePath);

// The script file's path: nisPath with the extension of its last component (from its last
// ".") replaced by ".script", or ".script" appended when that component has no ".". Both "/"
// and "\\" separate components; directories keep their dots, and a drive is kept.
std::string ScriptPathFor(const std::string& nisPath);

// Writes the .script beside nisPath: the model comment's events, then each accepted bone's
// block, logging the stage. False only when the script file cannot be opened.
bool WriteEventScript(const Scene& scene, msModel* model, const std::string& nisPath);

}  // namespace rw

#endif
