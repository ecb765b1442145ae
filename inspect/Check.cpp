#include "inspect/Check.h"

#include <algorithm>
#include <initializer_list>
#include <unordered_map>
#include <unordered_set>

#include "inspect/SceneReading.h"
#include "inspect/TextFormat.h"
#include "nis/NisFormat.h"
#include "scriptlang/ScriptReader.h"

namespace rw {
namespace {

constexpr uint32_t kChunkNurb = MakeChunkId("NURB");
constexpr uint32_t kChunkPath = MakeChunkId("PATH");

// The record names of one kind. `complete` is false when a chunk of that kind is missing (and
// required) or was only partly read: a name not found may then stand in the unread rest, and
// the chunk's own fault already says so.
struct NameTable {
  std::unordered_set<std::string> names;
  bool complete = true;

  bool Holds(const std::string& name) const { return names.count(name) != 0; }
  bool SurelyLacks(const std::string& name) const { return complete && !Holds(name); }
};

template <class Record>
NameTable TableOf(const NisDocument& doc, uint32_t chunkId, const std::vector<Record>& records, bool required) {
  NameTable table;
  for (const Record& record : records) table.names.insert(record.name);
  bool present = false;
  for (const NisChunk& form : doc.chunks) {
    for (const NisChunk& chunk : form.children) {
      if (chunk.id != chunkId) continue;
      present = true;
      table.complete = table.complete && chunk.decoding == NisDecoding::kFull;
    }
  }
  if (!present && required) table.complete = false;
  return table;
}

// File offsets of the counted texts that open a record, one after the other from `start`.
std::vector<uint32_t> TextOffsets(uint32_t start, std::initializer_list<const std::string*> texts) {
  std::vector<uint32_t> offsets;
  uint32_t at = start;
  for (const std::string* text : texts) {
    offsets.push_back(at);
    at += 4 + static_cast<uint32_t>(text->size());
  }
  return offsets;
}

std::string RecordWhere(const char* chunk, size_t index, const char* field) {
  return std::string(chunk) + " #" + std::to_string(index + 1) + " " + field;
}

// What a reference names and where its target lives, for the message.
struct Target {
  const NameTable& table;
  const char* kind;   // "curve"
  const char* chunk;  // "ANIM"
};

class DocumentCheck {
 public:
  explicit DocumentCheck(const NisDocument& doc)
      : doc_(doc),
        curves_(TableOf(doc, kChunkAnim, doc.curves, true)),
        nurbs_(TableOf(doc, kChunkNurb, doc.nurbCurves, false)),
        paths_(TableOf(doc, kChunkPath, doc.paths, false)),
        leaders_(TableOf(doc, kChunkLead, doc.leaders, true)),
        followers_(TableOf(doc, kChunkFolw, doc.followers, true)),
        hasPaths_(FindNisChunk(doc, kChunkPath) != nullptr),
        scene_(ReadScene(doc)) {}

  std::vector<Diagnostic> Run() {
    diagnostics_ = doc_.faults;
    CheckHeader();
    if (doc_.layout == NisLayout::kCrannnberry) {
      CheckInstanceNumbers();
      return std::move(diagnostics_);
    }
    CheckDuplicates("ANIM", doc_.curves);
    CheckDuplicates("NURB", doc_.nurbCurves);
    CheckDuplicates("PATH", doc_.paths);
    CheckDuplicates("LEAD", doc_.leaders);
    CheckDuplicates("FOLW", doc_.followers);
    CheckDuplicates("CMRA", doc_.cameras);
    CheckPaths();
    CheckLeaders();
    CheckFollowers();
    CheckCameras();
    return std::move(diagnostics_);
  }

 private:
  void Report(Severity severity, std::string where, uint32_t offset, std::string what) {
    diagnostics_.push_back({severity, offset, std::move(where), std::move(what)});
  }

  // A name that must resolve in `target`; an empty name is no reference unless `required`.
  void Reference(Severity severity, const std::string& where, uint32_t offset, const std::string& name,
                 const Target& target, bool required = false) {
    if (name.empty() && !required) return;
    if (!target.table.SurelyLacks(name)) return;
    std::string what = name.empty() ? std::string("is empty; it must name a ") + target.kind
                                    : "names " + std::string(target.kind) + " " + QuoteText(name) + ", which " +
                                          target.chunk + " does not hold";
    Report(severity, where, offset, what);
  }

  // The title and version come from the first NAME and VERS chunk; only a pair that is not one
  // of the two known layouts is reported.
  void CheckHeader() {
    if (doc_.layout != NisLayout::kUnknown) return;
    const NisChunk* name = FindNisChunk(doc_, kChunkName);
    const NisChunk* vers = FindNisChunk(doc_, kChunkVers);
    bool crannnberryTitle = doc_.title && *doc_.title == kCrannnberryTitle;
    if (name && doc_.title && *doc_.title != kNisTitle && !crannnberryTitle) {
      Report(Severity::kError, "NAME", name->dataOffset,
             "title " + QuoteText(*doc_.title) + " is neither " + QuoteText(kNisTitle) + " nor " +
                 QuoteText(kCrannnberryTitle));
    }
    uint32_t expected = crannnberryTitle ? kCrannnberryVersion : kNisVersion;
    if (vers && doc_.version && *doc_.version != expected) {
      Report(Severity::kError, "VERS", vers->dataOffset,
             "version " + std::to_string(*doc_.version) + " is not " + std::to_string(expected));
    }
  }

  template <class Record>
  void CheckDuplicates(const char* chunk, const std::vector<Record>& records) {
    std::unordered_map<std::string, size_t> first;
    for (size_t index = 0; index < records.size(); ++index) {
      auto [it, inserted] = first.emplace(records[index].name, index);
      if (!inserted) {
        Report(
            Severity::kError, RecordWhere(chunk, index, "name"), records[index].offset,
            QuoteText(records[index].name) + " is also the name of " + chunk + " #" + std::to_string(it->second + 1));
      }
    }
  }

  void CheckPaths() {
    for (size_t index = 0; index < doc_.paths.size(); ++index) {
      const NisPath& path = doc_.paths[index];
      // name, then a byte and two 32-bit axes before the four curve names
      uint32_t at = path.offset + 4 + static_cast<uint32_t>(path.name.size()) + 9;
      auto offsets =
          TextOffsets(at, {&path.curves[0], &path.curves[1], &path.curves[2], &path.curves[3], &path.nurbName});
      for (int slot = 0; slot < kPathCurveCount; ++slot) {
        Reference(Severity::kWarning, RecordWhere("PATH", index, kPathCurveNames[slot]), offsets[slot],
                  path.curves[slot], {curves_, "curve", "ANIM"});
      }
      // two doubles, start and end time, stand before the NURB name
      Reference(Severity::kError, RecordWhere("PATH", index, "nurbName"), offsets[4] + 16, path.nurbName,
                {nurbs_, "NURB curve", "NURB"}, true);
    }
  }

  // Objects of one name are numbered 0, 1, 2, ... in file order. After a number that does not
  // follow, counting goes on from it, so one skip is reported once.
  void CheckInstanceNumbers() {
    std::unordered_map<std::string, uint32_t> next;
    const auto& objects = doc_.crannnberry->objects;
    for (size_t index = 0; index < objects.size(); ++index) {
      const CrannnberryObject& object = objects[index];
      uint32_t& counter = next[object.name];
      uint32_t expected = counter;
      counter = object.instance + 1;
      if (object.instance != expected) {
        Report(Severity::kWarning, RecordWhere("CURV", index, "instance"),
               object.offset + 4 + static_cast<uint32_t>(object.name.size()),
               "is " + std::to_string(object.instance) + ", expected " + std::to_string(expected) + ": objects named " +
                   QuoteText(object.name) + " count up from 0");
      }
    }
  }

  // A leader driven by a motion path names helper nodes and its path in its slots, not curves:
  // the scene reading tells which slots are its path's. Other leaders need their curves, unless
  // the file has paths: its helper nodes may then be named by leaders of any kind.
  void CheckLeaders() {
    for (size_t index = 0; index < doc_.leaders.size(); ++index) {
      const NisLeader& leader = doc_.leaders[index];
      const auto& slots = leader.curves;
      auto offsets = TextOffsets(leader.offset, {&leader.name, &leader.pathName, &slots[0], &slots[1], &slots[2],
                                                 &slots[3], &slots[4], &slots[5]});
      Reference(Severity::kError, RecordWhere("LEAD", index, "pathName"), offsets[1], leader.pathName,
                {paths_, "path", "PATH"});
      Severity severity = hasPaths_ ? Severity::kWarning : Severity::kError;
      for (int slot = 0; slot < kCurveSlotCount; ++slot) {
        if (scene_.leaders[index].slots.uses[slot] != SlotUse::kUnresolved) continue;
        Reference(severity, RecordWhere("LEAD", index, kCurveSlotNames[slot]), offsets[2 + slot], slots[slot],
                  {curves_, "curve", "ANIM"});
      }
    }
  }

  // An empty leader name makes a top-level object, placed by its own curves or numbers. A rotate
  // slot naming a look-at rig's group (the scene reading finds the rigs) is no curve reference.
  void CheckFollowers() {
    for (size_t index = 0; index < doc_.followers.size(); ++index) {
      const NisFollower& follower = doc_.followers[index];
      const auto& slots = follower.curves;
      auto offsets = TextOffsets(
          follower.offset, {&follower.name, &follower.leaderName, &follower.objectClass, &follower.blueprint, &slots[0],
                            &slots[1], &slots[2], &slots[3], &slots[4], &slots[5]});
      Reference(Severity::kError, RecordWhere("FOLW", index, "leaderName"), offsets[1], follower.leaderName,
                {leaders_, "leader", "LEAD"});
      for (int slot = 0; slot < kCurveSlotCount; ++slot) {
        if (scene_.followers[index].own.uses[slot] != SlotUse::kUnresolved) continue;
        Reference(Severity::kWarning, RecordWhere("FOLW", index, kCurveSlotNames[slot]), offsets[4 + slot], slots[slot],
                  {curves_, "curve", "ANIM"});
      }
    }
  }

  // The game plays files whose camera records name a follower, centre of interest or zoom curve
  // that was not exported; only a script's cut to such a camera breaks.
  void CheckCameras() {
    for (size_t index = 0; index < doc_.cameras.size(); ++index) {
      const NisCamera& camera = doc_.cameras[index];
      auto offsets = TextOffsets(camera.offset, {&camera.name, &camera.followerName, &camera.centerOfInterest,
                                                 &camera.reservedText, &camera.focalLengthCurve});
      Reference(Severity::kWarning, RecordWhere("CMRA", index, "followerName"), offsets[1], camera.followerName,
                {followers_, "follower", "FOLW"}, true);
      Reference(Severity::kWarning, RecordWhere("CMRA", index, "centerOfInterest"), offsets[2], camera.centerOfInterest,
                {followers_, "follower", "FOLW"});
      Reference(Severity::kWarning, RecordWhere("CMRA", index, "focalLengthCurve"), offsets[4], camera.focalLengthCurve,
                {curves_, "curve", "ANIM"});
    }
  }

  const NisDocument& doc_;
  NameTable curves_, nurbs_, paths_, leaders_, followers_;
  bool hasPaths_;
  SceneReading scene_;
  std::vector<Diagnostic> diagnostics_;
};

// ---- script ----

// The name a call gives: its first argument.
std::string FirstArgument(const ScriptStatement& statement) {
  return statement.arguments.empty() ? "" : statement.arguments[0].value;
}

class ScriptCheck {
 public:
  ScriptCheck(const NisDocument& doc, const std::string& scriptName)
      : doc_(doc),
        scriptName_(scriptName),
        followers_(TableOf(doc, kChunkFolw, doc.followers, true)),
        cameras_(TableOf(doc, kChunkCmra, doc.cameras, true)) {}

  std::vector<Diagnostic> Run(const std::string& text) {
    const ScriptText script = ReadScriptText(text);
    for (const ScriptProblem& problem : script.problems) Report(Severity::kWarning, problem.line, problem.what);
    for (const ScriptBlock& block : script.blocks) {
      if (followers_.SurelyLacks(block.name)) {
        Report(Severity::kError, block.line,
               "with " + QuoteText(block.name) + " names a follower that FOLW does not hold");
      }
    }
    for (const ScriptStatement& statement : script.statements) {
      const std::string name = FirstArgument(statement);
      if (statement.function == "attack" && followers_.SurelyLacks(name)) {
        Report(Severity::kError, statement.line,
               "attack names follower " + QuoteText(name) + ", which FOLW does not hold");
      } else if (statement.function == "cameraCut") {
        CheckCameraCut(name, statement.line);
      }
    }
    // In line order, as a reader of the script goes through it.
    std::stable_sort(found_.begin(), found_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Diagnostic> diagnostics;
    for (auto& [line, diagnostic] : found_) diagnostics.push_back(std::move(diagnostic));
    return diagnostics;
  }

 private:
  void Report(Severity severity, size_t lineNumber, std::string what) {
    found_.push_back(
        {lineNumber, {severity, -1, scriptName_ + " line " + std::to_string(lineNumber), std::move(what)}});
  }
  // A cut names a follower (our scripts) or a camera record (the game's), whose follower must
  // then exist.
  void CheckCameraCut(const std::string& name, size_t lineNumber) {
    if (followers_.Holds(name)) return;
    for (const NisCamera& camera : doc_.cameras) {
      if (camera.name != name) continue;
      if (followers_.SurelyLacks(camera.followerName)) {
        Report(Severity::kError, lineNumber,
               "cameraCut names camera " + QuoteText(name) + ", whose follower " + QuoteText(camera.followerName) +
                   " FOLW does not hold");
      }
      return;
    }
    if (followers_.complete && cameras_.complete) {
      Report(Severity::kError, lineNumber,
             "cameraCut names " + QuoteText(name) + ", neither a follower nor a camera of the file");
    }
  }

  const NisDocument& doc_;
  const std::string& scriptName_;
  NameTable followers_, cameras_;
  std::vector<std::pair<size_t, Diagnostic>> found_;
};

}  // namespace

std::vector<Diagnostic> CheckNisDocument(const NisDocument& doc) { return DocumentCheck(doc).Run(); }

std::vector<Diagnostic> CheckScriptText(const NisDocument& doc, const std::string& text,
                                        const std::string& scriptName) {
  return ScriptCheck(doc, scriptName).Run(text);
}

}  // namespace rw
