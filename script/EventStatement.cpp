#include "scene/CommentOptions.h"
#include "scene/Naming.h"
#include "script/EventScript.h"

namespace rw {
namespace {

constexpr char kFieldSeparator = '|';
constexpr const char* kTimeLineFormat = "%sat %d\n";
constexpr const char* kStatementFormat = "%s%s(%s)\n";
constexpr const char* kBlockHeadFormat = "with FOLW_%s\n{\n";
constexpr const char* kListEndFormat = "%s\n";

constexpr const char* kGlobalTimePrefix = "";
constexpr const char* kGlobalIndent = "\t";
constexpr const char* kGlobalEnd = "";
constexpr const char* kLocalTimePrefix = "\t";
constexpr const char* kLocalIndent = "\t\t";
constexpr const char* kLocalEnd = "}\n";

// The two functions whose arguments name a bone that the script must address by its follower.
bool NamesFollower(const std::string& function) { return function == "cameraCut" || function == "attack"; }

bool HasWellFormedEvent(const EventList& events) {
  for (const std::string& text : events)
    if (IsWellFormedEvent(text)) return true;
  return false;
}

// A list's last time before its first event. No event text reads as a negative time except
// one whose number wraps to exactly -1 ("4294967295"), which thus gets no time line of its own.
constexpr int32_t kNoTimeYet = -1;

// Time lines and statements of one list: a time line whenever the time differs from the last
// one; a malformed text neither writes nor changes the time.
void WriteTimedStatements(std::FILE* file, const EventList& events, const BoneLookup& lookup, const char* timePrefix,
                          const char* indent) {
  int32_t lastTime = kNoTimeYet;
  for (const std::string& text : events) {
    if (!IsWellFormedEvent(text)) continue;
    const int32_t time = ParseEventTime(text);
    if (time != lastTime) {
      lastTime = time;
      std::fprintf(file, kTimeLineFormat, timePrefix, static_cast<int>(time));
    }
    WriteEventStatement(file, text, lookup, indent);
  }
}

}  // namespace

bool IsWellFormedEvent(const std::string& eventText) {
  const size_t first = eventText.find(kFieldSeparator);
  return first != std::string::npos && eventText.find(kFieldSeparator, first + 1) != std::string::npos;
}

int32_t ParseEventTime(const std::string& eventText) {
  return TruncateToInt32(TextToNumber(eventText.substr(0, eventText.find(kFieldSeparator))));
}

std::string GetEventFunction(const std::string& eventText) {
  if (!IsWellFormedEvent(eventText)) return std::string();
  const size_t first = eventText.find(kFieldSeparator);
  const size_t last = eventText.rfind(kFieldSeparator);
  return eventText.substr(first + 1, last - first - 1);
}

std::string GetEventArguments(const std::string& eventText) {
  const size_t last = eventText.rfind(kFieldSeparator);
  return last == std::string::npos ? eventText : eventText.substr(last + 1);
}

void WriteEventStatement(std::FILE* file, const std::string& eventText, const BoneLookup& lookup, const char* indent) {
  const std::string function = GetEventFunction(eventText);
  std::string arguments = GetEventArguments(eventText);
  if (NamesFollower(function)) {
    // The whole argument text, quotes removed, is one bone name; an unknown name still gives
    // a path ("Root|"), so the statement is written as the artist placed it.
    msBone* bone = lookup.Find(UnquotedText(arguments));
    arguments = "\"" + std::string(kFollowerPrefix) + BuildBonePath(lookup, bone) + "\"";
  }
  std::fprintf(file, kStatementFormat, indent, function.c_str(), arguments.c_str());
}

void WriteGlobalEvents(std::FILE* file, const EventList& events, const BoneLookup& lookup) {
  if (!HasWellFormedEvent(events)) return;
  WriteTimedStatements(file, events, lookup, kGlobalTimePrefix, kGlobalIndent);
  std::fprintf(file, kListEndFormat, kGlobalEnd);
}

void WriteLocalEvents(std::FILE* file, const BoneLookup& lookup, const std::string& bonePath, const EventList& events) {
  if (!HasWellFormedEvent(events)) return;
  std::fprintf(file, kBlockHeadFormat, bonePath.c_str());
  WriteTimedStatements(file, events, lookup, kLocalTimePrefix, kLocalIndent);
  std::fprintf(file, kListEndFormat, kLocalEnd);
}

}  // namespace rw
