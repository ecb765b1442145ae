#include "inspect/Check.h"

#include <initializer_list>
#include <unordered_map>
#include <unordered_set>

#include "inspect/TextFormat.h"
#include "nis/NisFormat.h"

namespace rw {
namespace {

using NameSet = std::unordered_set<std::string>;

template <class T>
NameSet NamesOf(const std::vector<T>& records) {
  NameSet names;
  for (const T& r : records) names.insert(r.name);
  return names;
}

// File offsets of the counted texts that open a record, one after the other from `start`; a
// 32-bit number between two texts counts like an empty text.
std::vector<uint32_t> TextOffsets(uint32_t start, std::initializer_list<const std::string*> texts) {
  std::vector<uint32_t> offsets;
  uint32_t at = start;
  for (const std::string* t : texts) {
    offsets.push_back(at);
    at += 4 + uint32_t(t->size());
  }
  return offsets;
}

std::string RecordWhere(const char* chunk, size_t index, const char* field) {
  return std::string(chunk) + " #" + std::to_string(index + 1) + " " + field;
}

class DocumentCheck {
 public:
  explicit DocumentCheck(const NisDocument& doc)
      : doc_(doc),
        curves_(NamesOf(doc.curves)),
        nurbs_(NamesOf(doc.nurbCurves)),
        paths_(NamesOf(doc.paths)),
        leaders_(NamesOf(doc.leaders)),
        followers_(NamesOf(doc.followers)) {}

  std::vector<NisProblem> Run() {
    for (const NisFault& f : doc_.faults) problems_.push_back({f.where, f.offset, f.message});
    Header();
    Duplicates("ANIM", doc_.curves);
    Duplicates("NURB", doc_.nurbCurves);
    Duplicates("PATH", doc_.paths);
    Duplicates("LEAD", doc_.leaders);
    Duplicates("FOLW", doc_.followers);
    Duplicates("CMRA", doc_.cameras);
    Paths();
    Leaders();
    Followers();
    Cameras();
    return std::move(problems_);
  }

 private:
  void Report(std::string where, uint32_t offset, std::string message) {
    problems_.push_back({std::move(where), offset, std::move(message)});
  }

  // An empty name is no reference unless `required`.
  void Reference(const char* chunk, size_t index, const char* field, uint32_t offset, const std::string& name,
                 const NameSet& targets, const char* kind, const char* targetChunk, bool required = false) {
    if (name.empty() && !required) return;
    if (targets.count(name)) return;
    std::string message = name.empty() ? std::string("is empty; it must name a ") + kind
                                       : "names " + std::string(kind) + " " + QuoteText(name) + ", which " +
                                             targetChunk + " does not hold";
    Report(RecordWhere(chunk, index, field), offset, message);
  }

  // The title and version come from the first NAME and VERS chunk of the FORM.
  void Header() {
    const NisChunk* name = nullptr;
    const NisChunk* vers = nullptr;
    for (const NisChunk& form : doc_.chunks) {
      for (const NisChunk& c : form.children) {
        if (c.id == kChunkName && !name) name = &c;
        if (c.id == kChunkVers && !vers) vers = &c;
      }
    }
    if (name && doc_.title && *doc_.title != kNisTitle) {
      Report("NAME", name->dataOffset, "title " + QuoteText(*doc_.title) + " is not " + QuoteText(kNisTitle));
    }
    if (vers && doc_.version && *doc_.version != kNisVersion) {
      Report("VERS", vers->dataOffset,
             "version " + std::to_string(*doc_.version) + " is not " + std::to_string(kNisVersion));
    }
  }

  template <class T>
  void Duplicates(const char* chunk, const std::vector<T>& records) {
    std::unordered_map<std::string, size_t> first;
    for (size_t i = 0; i < records.size(); ++i) {
      auto [it, inserted] = first.emplace(records[i].name, i);
      if (!inserted) {
        Report(RecordWhere(chunk, i, "name"), records[i].offset,
               QuoteText(records[i].name) + " is also the name of " + chunk + " #" + std::to_string(it->second + 1));
      }
    }
  }

  void Paths() {
    for (size_t i = 0; i < doc_.paths.size(); ++i) {
      const NisPath& r = doc_.paths[i];
      // name, then a byte and two 32-bit axes before the four curve names
      uint32_t at = r.offset + 4 + uint32_t(r.name.size()) + 9;
      auto offsets = TextOffsets(at, {&r.curves[0], &r.curves[1], &r.curves[2], &r.curves[3], &r.nurbName});
      for (int s = 0; s < 4; ++s) Reference("PATH", i, kPathCurveNames[s], offsets[s], r.curves[s], curves_, "curve", "ANIM");
      Reference("PATH", i, "nurbName", offsets[4] + 16, r.nurbName, nurbs_, "NURB curve", "NURB", true);
    }
  }

  void Leaders() {
    for (size_t i = 0; i < doc_.leaders.size(); ++i) {
      const NisLeader& r = doc_.leaders[i];
      auto offsets = TextOffsets(r.offset, {&r.name, &r.pathName, &r.curves[0], &r.curves[1], &r.curves[2],
                                            &r.curves[3], &r.curves[4], &r.curves[5]});
      Reference("LEAD", i, "pathName", offsets[1], r.pathName, paths_, "path", "PATH");
      for (int s = 0; s < kCurveSlotCount; ++s) {
        Reference("LEAD", i, kCurveSlotNames[s], offsets[2 + s], r.curves[s], curves_, "curve", "ANIM");
      }
    }
  }

  void Followers() {
    for (size_t i = 0; i < doc_.followers.size(); ++i) {
      const NisFollower& r = doc_.followers[i];
      auto offsets = TextOffsets(r.offset, {&r.name, &r.leaderName, &r.objectClass, &r.blueprint, &r.curves[0],
                                            &r.curves[1], &r.curves[2], &r.curves[3], &r.curves[4], &r.curves[5]});
      Reference("FOLW", i, "leaderName", offsets[1], r.leaderName, leaders_, "leader", "LEAD", true);
      for (int s = 0; s < kCurveSlotCount; ++s) {
        Reference("FOLW", i, kCurveSlotNames[s], offsets[4 + s], r.curves[s], curves_, "curve", "ANIM");
      }
    }
  }

  void Cameras() {
    for (size_t i = 0; i < doc_.cameras.size(); ++i) {
      const NisCamera& r = doc_.cameras[i];
      auto offsets =
          TextOffsets(r.offset, {&r.name, &r.followerName, &r.centerOfInterest, &r.reservedText, &r.focalLengthCurve});
      Reference("CMRA", i, "followerName", offsets[1], r.followerName, followers_, "follower", "FOLW", true);
      Reference("CMRA", i, "centerOfInterest", offsets[2], r.centerOfInterest, followers_, "follower", "FOLW");
      Reference("CMRA", i, "focalLengthCurve", offsets[4], r.focalLengthCurve, curves_, "curve", "ANIM");
    }
  }

  const NisDocument& doc_;
  NameSet curves_, nurbs_, paths_, leaders_, followers_;
  std::vector<NisProblem> problems_;
};

// ---- script ----

std::string TrimBlanks(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

// The line without a "--" comment that stands outside double quotes.
std::string WithoutComment(const std::string& line) {
  bool quoted = false;
  for (size_t i = 0; i + 1 < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (!quoted && line[i] == '-' && line[i + 1] == '-') return line.substr(0, i);
  }
  return line;
}

// The name a call's arguments give: the first double-quoted text, or the whole arguments.
std::string ArgumentName(const std::string& args) {
  size_t open = args.find('"');
  if (open != std::string::npos) {
    size_t close = args.find('"', open + 1);
    if (close != std::string::npos) return args.substr(open + 1, close - open - 1);
  }
  return TrimBlanks(args);
}

}  // namespace

std::vector<NisProblem> CheckNisDocument(const NisDocument& doc) { return DocumentCheck(doc).Run(); }

std::vector<NisProblem> CheckScriptText(const NisDocument& doc, const std::string& text, const std::string& scriptName) {
  NameSet followers = NamesOf(doc.followers);
  NameSet cameras = NamesOf(doc.cameras);
  std::vector<NisProblem> problems;
  size_t lineNumber = 0;
  for (size_t start = 0; start < text.size();) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string raw = TrimBlanks(text.substr(start, end - start));
    start = end + 1;
    ++lineNumber;
    std::string where = scriptName + " line " + std::to_string(lineNumber);
    if (raw.compare(0, 5, "with ") == 0) {
      // A name may hold "--" or end in "{": try the line as it is before cutting either.
      std::string name = TrimBlanks(raw.substr(5));
      if (followers.count(name)) continue;
      name = TrimBlanks(WithoutComment(name));
      if (!name.empty() && name.back() == '{') name = TrimBlanks(name.substr(0, name.size() - 1));
      if (!followers.count(name)) {
        problems.push_back({where, std::nullopt, "with " + QuoteText(name) + " names a follower that FOLW does not hold"});
      }
      continue;
    }
    std::string line = TrimBlanks(WithoutComment(raw));
    size_t open = line.find('(');
    size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) continue;
    std::string function = TrimBlanks(line.substr(0, open));
    if (function != "attack" && function != "cameraCut") continue;
    std::string name = ArgumentName(line.substr(open + 1, close - open - 1));
    if (followers.count(name)) continue;
    if (function == "attack") {
      problems.push_back({where, std::nullopt, "attack names follower " + QuoteText(name) + ", which FOLW does not hold"});
    } else if (!cameras.count(name)) {
      problems.push_back(
          {where, std::nullopt, "cameraCut names " + QuoteText(name) + ", neither a follower nor a camera of the file"});
    }
  }
  return problems;
}

std::string ProblemLine(const NisProblem& p) {
  std::string line = p.where;
  if (p.offset) line += " at " + std::to_string(*p.offset);
  return line + ": " + p.message;
}

}  // namespace rw
