#include "convert/ImportEvents.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "io/Utf8.h"
#include "script/EventScript.h"
#include "scriptlang/ScriptReader.h"

namespace rw {
namespace {

constexpr const char* kReplacementCharacter = "\xEF\xBF\xBD";  // the glTF writer's for a byte that is not UTF-8
constexpr const char* kFreeTextKey = "comment";
constexpr char kEventSeparator = '|';

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

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The node a script names: by a follower's name, a camera record's, the last part of a
// follower's name path, or a node's own name, in that order.
class NodeFinder {
 public:
  explicit NodeFinder(const SceneMotion& motion) {
    const std::vector<size_t> nodeOf = FollowerNodes(motion.importNodes, motion.followers.size());
    for (size_t i = 0; i < nodeOf.size(); ++i)
      if (nodeOf[i] != kNoIndex) byName_.emplace(motion.followers[i].name, nodeOf[i]);
    for (size_t i = 0; i < nodeOf.size(); ++i)
      if (nodeOf[i] != kNoIndex && !motion.followers[i].cameraRecord.empty())
        byName_.emplace(motion.followers[i].cameraRecord, nodeOf[i]);
    for (size_t i = 0; i < nodeOf.size(); ++i) {
      const std::string& name = motion.followers[i].name;
      if (nodeOf[i] != kNoIndex) byName_.emplace(name.substr(name.rfind('|') + 1), nodeOf[i]);
    }
    for (size_t n = 0; n < motion.importNodes.size(); ++n) byName_.emplace(motion.importNodes[n].name, n);
  }
  size_t Find(const std::string& name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? kNoIndex : found->second;
  }

 private:
  std::map<std::string, size_t> byName_;
};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// The arguments of a call with the names the import changed changed the same way; false for a
// cameraCut or attack that names no node (the export would refuse it).
bool RenameArguments(const ScriptStatement& call, const NodeFinder& finder, const std::vector<ImportedNode>& nodes,
                     std::string& arguments) {
  const size_t open = call.text.find('('), close = call.text.rfind(')');
  const std::string written = open < close ? call.text.substr(open + 1, close - open - 1) : "";
  if (call.function == "cameraCut" || call.function == "attack") {
    std::string target = Trimmed(written);
    if (target.size() >= 2 && target.front() == '"' && target.back() == '"')
      target = target.substr(1, target.size() - 2);
    const size_t node = finder.Find(target);
    if (node == kNoIndex) return false;
    arguments = Quoted(nodes[node].name);
    return true;
  }
  // Each quoted text that names a follower.
  std::string renamed;
  size_t at = 0;
  for (;;) {
    const size_t first = written.find('"', at), last = written.find('"', first + 1);
    if (first == std::string::npos || last == std::string::npos) break;
    const std::string name = written.substr(first + 1, last - first - 1);
    const size_t node = finder.Find(name);
    renamed += written.substr(at, first - at) + Quoted(node == kNoIndex ? name : nodes[node].name);
    at = last + 1;
  }
  arguments = renamed + written.substr(std::min(at, written.size()));
  return true;
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

std::vector<std::string> ImportEvents(const std::string& script, const SceneMotion& motion, GltfOutScene& scene) {
  const ScriptText text = ReadScriptText(script);
  const NodeFinder finder(motion);
  std::vector<std::string> global, leftOut;
  std::map<size_t, std::vector<std::string>> byNode;
  std::map<std::string, size_t> unknownBlocks;
  size_t notCalls = 0, noTarget = 0, withBar = 0;
  std::string arguments;
  for (const ScriptStatement& statement : text.statements) {
    if (statement.function.empty()) {
      ++notCalls;
      continue;
    }
    if (!RenameArguments(statement, finder, motion.importNodes, arguments)) {
      ++noTarget;
      continue;
    }
    // The event text ends its function at its last "|": arguments cannot hold one.
    if (arguments.find(kEventSeparator) != std::string::npos) {
      ++withBar;
      continue;
    }
    const std::string event = SecondsText(ScriptSeconds(statement, motion.fps)) + kEventSeparator + statement.function +
                              kEventSeparator + arguments;
    if (statement.block.empty()) {
      global.push_back(event);
    } else if (const size_t node = finder.Find(statement.block); node != kNoIndex) {
      byNode[node].push_back(event);
    } else {
      ++unknownBlocks[statement.block];
    }
  }
  const size_t assetBytes = CommentBytes(scene.assetExtras);
  if (const size_t over = AddEvents(global, assetBytes, scene.sceneExtras))
    leftOut.push_back(Count(over, "global events do not fit the scene's comment of 1,023 bytes"));
  for (const auto& [node, events] : byNode)
    if (const size_t over = AddEvents(events, 0, scene.nodes[node].extras))
      leftOut.push_back(Count(over, "events of ") + scene.nodes[node].name + " do not fit its comment of 1,023 bytes");
  for (const auto& [block, count] : unknownBlocks)
    leftOut.push_back(Count(count, "events of ") + block + ": no such follower");
  if (noTarget) leftOut.push_back(Count(noTarget, "cameraCut or attack events name no follower"));
  if (withBar) leftOut.push_back(Count(withBar, "events with \"|\" in their arguments, which an event cannot hold"));
  if (notCalls) leftOut.push_back(Count(notCalls, "script lines that are no event"));
  for (const ScriptProblem& problem : text.problems)
    leftOut.push_back("line " + std::to_string(problem.line) + ": " + problem.what);
  return leftOut;
}

}  // namespace rw
