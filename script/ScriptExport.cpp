#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "io/PathText.h"
#include "log/ExportLog.h"
#include "platform/Platform.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"
#include "script/EventScript.h"

namespace rw {
namespace {

constexpr const char* kStageName = "NIS Script Export";
constexpr const char* kScriptExtension = "script";
// Text mode: each "\n" of the script becomes the system's line end (CR LF on Windows).
constexpr const char* kScriptFileMode = "wt";
constexpr const char* kEventKeyPrefix = "Event";
constexpr const char* kModelOwner = "the model comment";

// "the model comment" or "bone 'Root|Hull'": whose comment holds an event.
std::string OwnerText(const std::string& bonePath) {
  return bonePath.empty() ? std::string(kModelOwner) : "bone '" + bonePath + "'";
}

// The events of one comment, with the artist told about a count beyond what is read and about
// every event that will be left out.
EventList ReadReportedEvents(const std::string& comment, const std::string& bonePath) {
  const int32_t count = ReadEventCount(comment);
  if (count > kMaxEventCount)
    LogBoneWarning(DiagnosticCode::kTooManyEvents, bonePath, "Num Events of %s is %d; only %s to %s are read.\n",
                   OwnerText(bonePath).c_str(), static_cast<int>(count), EventKey(0).c_str(),
                   EventKey(kMaxEventCount - 1).c_str());
  EventList events = ReadEventList(comment);
  WarnMalformedEvents(events, bonePath);
  return events;
}

}  // namespace

std::string EventKey(uint32_t index) { return kEventKeyPrefix + IndexText(index); }

int32_t ReadEventCount(const std::string& comment) {
  return TruncateToInt32(TextToNumber(GetOption(comment, OptionKeyText(kEventCountKey))));
}

EventList ReadEventList(const std::string& comment) {
  const int32_t count = std::min(ReadEventCount(comment), kMaxEventCount);
  EventList events;
  for (int32_t index = 0; index < count; ++index)
    events.push_back(GetOption(comment, EventKey(static_cast<uint32_t>(index))));
  return events;
}

void WarnMalformedEvents(const EventList& events, const std::string& bonePath) {
  const std::string owner = OwnerText(bonePath);
  for (size_t i = 0; i < events.size(); ++i) {
    if (IsWellFormedEvent(events[i])) continue;
    const std::string key = EventKey(static_cast<uint32_t>(i));
    if (!events[i].empty()) {
      LogBoneWarning(DiagnosticCode::kMalformedEvent, bonePath,
                     "%s of %s is skipped: \"%s\" is not time|function|arguments.\n", key.c_str(), owner.c_str(),
                     events[i].c_str());
      continue;
    }
    // A "Num Events" above the keys present leaves a run of empty texts: one line for the run.
    size_t last = i;
    while (last + 1 < events.size() && events[last + 1].empty()) ++last;
    if (last == i) {
      LogBoneWarning(DiagnosticCode::kMissingEvent, bonePath, "%s of %s is missing or empty; it is skipped.\n",
                     key.c_str(), owner.c_str());
    } else {
      LogBoneWarning(DiagnosticCode::kMissingEvent, bonePath,
                     "%s to %s of %s are missing or empty; they are skipped.\n", key.c_str(),
                     EventKey(static_cast<uint32_t>(last)).c_str(), owner.c_str());
    }
    i = last;
  }
}

std::string ScriptPathFor(const std::string& nisPath) { return ReplaceExtension(nisPath, kScriptExtension); }

bool WriteEventScript(const Scene& scene, msModel* model, const std::string& nisPath) {
  // With no fixed buffer there is no length limit of our own: a path the system accepts is
  // written, and one it refuses takes the failure road below.
  const std::string scriptPath = ScriptPathFor(nisPath);
  LogOpenStage(kStageName);
  LogPrint("Opening file '%s' for exporting script...\n", scriptPath.c_str());
  std::FILE* file = CurrentPlatform().OpenOutput(scriptPath, kScriptFileMode);
  if (!file) {
    LogError(DiagnosticCode::kScriptOpenFailed, "Coudn't open file '%s' for writing script.\n", scriptPath.c_str());
    return false;
  }

  LogPrint("Exporting global events...\n");
  WriteGlobalEvents(file, ReadReportedEvents(ReadModelComment(model), std::string()), scene.lookup);

  LogPrint("Exporting local events...\n");
  for (size_t i = 0; i < scene.bones.size() && i < scene.bonePaths.size(); ++i) {
    const std::string& path = scene.bonePaths[i];
    LogPrint("Exporting events for bone\\camera '%s'...\n", path.c_str());
    const EventList events = ReadReportedEvents(ReadBoneComment(scene.bones[i]), path);
    WriteLocalEvents(file, scene.lookup, path, events);
  }

  // The stream keeps the first failed write; closing flushes the rest and can fail too.
  const bool writeFailed = std::ferror(file) != 0;
  const int writeError = errno;
  const bool closed = std::fclose(file) == 0;
  if (writeFailed || !closed) {
    LogError(DiagnosticCode::kScriptWriteFailed,
             "Writing the script file '%s' failed: %s\n\t-> The file is not usable\n", scriptPath.c_str(),
             std::strerror(writeFailed ? writeError : errno));
    return false;
  }
  LogPrint("Done.\n");
  LogEndStage();
  return true;
}

}  // namespace rw
