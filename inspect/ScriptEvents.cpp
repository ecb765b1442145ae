#include "inspect/ScriptEvents.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace rw {
namespace {

constexpr char kEventSeparator = '|';  // an event's text ends its function at its last "|"

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The node a script names: by a follower's name, a camera record's, the last part of a
// follower's name path, or a node's own name, in that order.
class NodeFinder {
 public:
  NodeFinder(const SceneReading& scene, const std::vector<ImportedNode>& nodes) {
    const std::vector<size_t> nodeOf = FollowerNodes(nodes, scene.followers.size());
    for (size_t i = 0; i < nodeOf.size(); ++i)
      if (nodeOf[i] != kNoIndex) byName_.emplace(scene.followers[i].name, nodeOf[i]);
    for (size_t i = 0; i < nodeOf.size(); ++i)
      if (nodeOf[i] != kNoIndex && scene.followers[i].camera != kNoIndex)
        byName_.emplace(scene.cameras[scene.followers[i].camera].name, nodeOf[i]);
    for (size_t i = 0; i < nodeOf.size(); ++i) {
      const std::string& name = scene.followers[i].name;
      if (nodeOf[i] != kNoIndex) byName_.emplace(name.substr(name.rfind('|') + 1), nodeOf[i]);
    }
    for (size_t n = 0; n < nodes.size(); ++n) byName_.emplace(nodes[n].name, n);
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
                     ImportEvent& event) {
  const size_t open = call.text.find('('), close = call.text.rfind(')');
  const std::string written = open < close ? call.text.substr(open + 1, close - open - 1) : "";
  if (call.function == "cameraCut" || call.function == "attack") {
    std::string target = Trimmed(written);
    if (target.size() >= 2 && target.front() == '"' && target.back() == '"')
      target = target.substr(1, target.size() - 2);
    event.target = finder.Find(target);
    if (event.target == kNoIndex) return false;
    event.arguments = Quoted(nodes[event.target].name);
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
  event.arguments = renamed + written.substr(std::min(at, written.size()));
  return true;
}

std::string Count(size_t count, const char* what) { return std::to_string(count) + " " + what; }

const char* UnitName(ScriptTimeUnit unit) {
  switch (unit) {
    case ScriptTimeUnit::kSeconds:
      return "seconds";
    case ScriptTimeUnit::kFrames:
      return "frames";
    case ScriptTimeUnit::kNone:
      break;
  }
  return nullptr;
}

void NodeName(JsonWriter& json, const char* key, const std::vector<ImportedNode>& nodes, size_t node) {
  json.Key(key);
  if (node == kNoIndex) {
    json.Null();
  } else {
    json.String(nodes[node].name);
  }
}

}  // namespace

ImportEventChoice ChooseImportEvents(const ScriptText& text, const SceneReading& scene,
                                     const std::vector<ImportedNode>& nodes) {
  const NodeFinder finder(scene, nodes);
  ImportEventChoice choice;
  std::map<std::string, size_t> unknownBlocks;
  size_t notCalls = 0, noTarget = 0, withBar = 0, noTime = 0;
  for (const ScriptStatement& statement : text.statements) {
    if (statement.function.empty()) {
      ++notCalls;
      continue;
    }
    ImportEvent event;
    event.line = statement.line;
    event.seconds = ScriptSeconds(statement, scene.fps);
    event.function = statement.function;
    if (!std::isfinite(event.seconds)) {
      ++noTime;
      continue;
    }
    if (!RenameArguments(statement, finder, nodes, event)) {
      ++noTarget;
      continue;
    }
    if (event.arguments.find(kEventSeparator) != std::string::npos) {
      ++withBar;
      continue;
    }
    if (!statement.block.empty()) {
      event.node = finder.Find(statement.block);
      if (event.node == kNoIndex) {
        ++unknownBlocks[statement.block];
        continue;
      }
    }
    choice.events.push_back(std::move(event));
  }
  for (const auto& [block, count] : unknownBlocks)
    choice.leftOut.push_back(Count(count, "events of ") + block + ": no such follower");
  if (noTarget) choice.leftOut.push_back(Count(noTarget, "cameraCut or attack events name no follower"));
  if (withBar)
    choice.leftOut.push_back(Count(withBar, "events with \"|\" in their arguments, which an event cannot hold"));
  if (noTime) choice.leftOut.push_back(Count(noTime, "events at a time that is no finite number"));
  if (notCalls) choice.leftOut.push_back(Count(notCalls, "script lines that are no event"));
  for (const ScriptProblem& problem : text.problems)
    choice.leftOut.push_back("line " + std::to_string(problem.line) + ": " + problem.what);
  return choice;
}

double LastStatementSeconds(const ScriptText& text, double framesPerSecond) {
  double last = 0;
  for (const ScriptStatement& statement : text.statements)
    last = std::max(last, ScriptSeconds(statement, framesPerSecond));
  return last;
}

void WriteScriptStatements(const ScriptText& text, double framesPerSecond, JsonWriter& json) {
  json.Key("statements");
  json.BeginArray();
  for (const ScriptStatement& statement : text.statements) {
    json.BeginObject(true);
    json.Key("line");
    json.Integer(static_cast<int64_t>(statement.line));
    json.Key("unit");
    if (const char* unit = UnitName(statement.unit)) {
      json.String(unit);
    } else {
      json.Null();
    }
    json.Key("time");
    json.Number(statement.time);
    json.Key("seconds");
    json.Number(ScriptSeconds(statement, framesPerSecond));
    json.Key("block");
    json.String(statement.block);
    json.Key("text");
    json.String(statement.text);
    json.Key("function");
    json.String(statement.function);
    json.Key("arguments");
    json.BeginArray(true);
    for (const ScriptArgument& argument : statement.arguments) json.String(argument.value);
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
  json.Key("problems");
  json.BeginArray();
  for (const ScriptProblem& problem : text.problems) {
    json.BeginObject(true);
    json.Key("line");
    json.Integer(static_cast<int64_t>(problem.line));
    json.Key("what");
    json.String(problem.what);
    json.EndObject();
  }
  json.EndArray();
}

void WriteScriptSection(const ScriptText& text, const SceneReading& scene, const std::vector<ImportedNode>& nodes,
                        JsonWriter& json) {
  json.Key("script");
  json.BeginObject();
  WriteScriptStatements(text, scene.fps, json);
  const ImportEventChoice choice = ChooseImportEvents(text, scene, nodes);
  json.Key("events");
  json.BeginArray();
  for (const ImportEvent& event : choice.events) {
    json.BeginObject(true);
    json.Key("line");
    json.Integer(static_cast<int64_t>(event.line));
    json.Key("seconds");
    json.Number(event.seconds);
    NodeName(json, "block", nodes, event.node);
    json.Key("function");
    json.String(event.function);
    json.Key("arguments");
    json.String(event.arguments);
    NodeName(json, "target", nodes, event.target);
    json.EndObject();
  }
  json.EndArray();
  json.Key("leftOut");
  json.BeginArray();
  for (const std::string& line : choice.leftOut) json.String(line);
  json.EndArray();
  json.EndObject();
}

}  // namespace rw
