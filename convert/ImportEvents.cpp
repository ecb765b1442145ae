#include "convert/ImportEvents.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "io/Utf8.h"
#include "script/EventScript.h"

namespace rw {
namespace {

constexpr const char* kReplacementCharacter = "\xEF\xBF\xBD";  // the glTF writer's for a byte that is not UTF-8
constexpr const char* kFreeTextKey = "comment";
constexpr char kEventSeparator = '|';  // between an event's time, function and arguments

size_t WrittenBytes(const std::string& text) { return ValidUtf8(text, kReplacementCharacter).size(); }

// Two comments joined as the glTF reader joins them: a line break between when both hold text.
size_t Joined(size_t first, size_t second) { return first && second ? first + 1 + second : first + second; }

// The bytes of the comment the glTF reader makes of extras: "comment" as written, then each
// other text as a Key=Value line.
size_t CommentBytes(const GltfExtras& extras) {
  size_t bytes = 0;
  for (const auto& [key, text] : extras.texts)
    bytes = Joined(bytes, key == kFreeTextKey ? WrittenBytes(text) : WrittenBytes(key) + 1 + WrittenBytes(text));
  return bytes;
}

// Adds the events that fit a comment of kEventCommentBytes after `before` bytes to `extras`, in
// order; returns how many do not.
size_t AddEvents(const std::vector<std::string>& events, size_t before, GltfExtras& extras) {
  const size_t base = Joined(before, CommentBytes(extras));
  size_t kept = 0, eventBytes = 0;
  for (; kept < events.size(); ++kept) {
    const size_t line = EventKey(static_cast<uint32_t>(kept)).size() + 1 + WrittenBytes(events[kept]);
    const std::string count = std::string(kEventCountKey) + "=" + std::to_string(kept + 1);
    if (Joined(base, count.size() + eventBytes + 1 + line) > kEventCommentBytes) break;
    eventBytes += 1 + line;
  }
  if (kept > 0) extras.texts[kEventCountKey] = std::to_string(kept);
  for (size_t i = 0; i < kept; ++i) extras.texts[EventKey(static_cast<uint32_t>(i))] = events[i];
  return events.size() - kept;
}

// Whole seconds without a point (the exporter's time lines are whole seconds); others to 6 digits.
std::string SecondsText(double seconds) {
  constexpr double kLongestWhole = 1e15;  // past it "%.0f" would be a long row of digits
  char text[32];
  const bool whole = std::fabs(seconds) < kLongestWhole && std::trunc(seconds) == seconds;
  std::snprintf(text, sizeof text, whole ? "%.0f" : "%.6g", seconds);
  return text;
}

std::string Count(size_t count, const char* what) { return std::to_string(count) + " " + what; }

}  // namespace

std::vector<std::string> ImportEvents(const ImportEventChoice& choice, GltfOutScene& scene) {
  std::vector<std::string> global, leftOut;
  std::map<size_t, std::vector<std::string>> byNode;
  for (const ImportEvent& event : choice.events) {
    std::string text =
        SecondsText(event.seconds) + kEventSeparator + event.function + kEventSeparator + event.arguments;
    (event.node == kNoIndex ? global : byNode[event.node]).push_back(std::move(text));
  }
  const size_t assetBytes = CommentBytes(scene.assetExtras);
  if (const size_t over = AddEvents(global, assetBytes, scene.sceneExtras))
    leftOut.push_back(Count(over, "global events do not fit the scene's comment of 1,023 bytes"));
  for (const auto& [node, events] : byNode)
    if (const size_t over = AddEvents(events, 0, scene.nodes[node].extras))
      leftOut.push_back(Count(over, "events of ") + scene.nodes[node].name + " do not fit its comment of 1,023 bytes");
  leftOut.insert(leftOut.end(), choice.leftOut.begin(), choice.leftOut.end());
  return leftOut;
}

}  // namespace rw
