#include "scriptlang/ScriptReader.h"

#include <cmath>
#include <cstdlib>

namespace rw {
namespace {

constexpr char kQuote = '"';

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// Characters that end a name: a "--" right after one of them starts a comment, while one inside
// a name (FOLW_Root|A--B) is part of it.
bool EndsName(char c) {
  return IsBlank(c) || c == '(' || c == ')' || c == '{' || c == '}' || c == ',' || c == ';' || c == kQuote;
}

bool IsIdentifierStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool IsIdentifierPart(char c) { return IsIdentifierStart(c) || (c >= '0' && c <= '9') || c == '.' || c == ':'; }

std::string Trim(const std::string& text, size_t begin, size_t end) {
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

// True when `word` stands at `at`, followed by a blank or the end of the line.
bool WordAt(const std::string& line, size_t at, const char* word) {
  size_t length = std::char_traits<char>::length(word);
  return line.compare(at, length, word) == 0 && (at + length == line.size() || IsBlank(line[at + length]));
}

size_t SkipBlanks(const std::string& line, size_t at) {
  while (at < line.size() && IsBlank(line[at])) ++at;
  return at;
}

// A whole token as a finite number ("48", "2.5", "-1e3"); false for anything else.
bool ReadNumber(const std::string& token, double& number) {
  if (token.empty()) return false;
  char* end = nullptr;
  number = std::strtod(token.c_str(), &end);
  return end == token.c_str() + token.size() && std::isfinite(number);
}

ScriptArgument ArgumentOf(const std::string& text, size_t begin, size_t end) {
  ScriptArgument argument;
  argument.value = Trim(text, begin, end);
  const std::string& value = argument.value;
  // One quoted text and nothing else: its value is what stands between the quotes.
  if (value.size() >= 2 && value.front() == kQuote && value.find(kQuote, 1) == value.size() - 1) {
    argument.value = value.substr(1, value.size() - 2);
    argument.quoted = true;
  }
  return argument;
}

// Splits `name(arguments)` into the statement's function and arguments, the arguments at the
// commas outside quotes and inner parentheses; anything else is no call.
void SplitCall(ScriptStatement& statement) {
  const std::string& text = statement.text;
  if (text.empty() || !IsIdentifierStart(text[0]) || text.back() != ')') return;
  size_t nameEnd = 0;
  while (nameEnd < text.size() && IsIdentifierPart(text[nameEnd])) ++nameEnd;
  const size_t open = SkipBlanks(text, nameEnd), close = text.size() - 1;
  if (open >= close || text[open] != '(') return;
  std::vector<ScriptArgument> arguments;
  int depth = 0;
  bool quoted = false;
  size_t start = open + 1;
  for (size_t i = open + 1; i < close; ++i) {
    const char c = text[i];
    if (c == kQuote) quoted = !quoted;
    if (quoted || c == kQuote) continue;
    if (c == '(') {
      ++depth;
    } else if (c == ')') {
      if (depth == 0) return;  // a parenthesis closes before the end: not one call
      --depth;
    } else if (c == ',' && depth == 0) {
      arguments.push_back(ArgumentOf(text, start, i));
      start = i + 1;
    }
  }
  if (quoted || depth != 0) return;
  arguments.push_back(ArgumentOf(text, start, close));
  // "f()" has no arguments rather than one empty one.
  if (arguments.size() == 1 && arguments[0].value.empty() && !arguments[0].quoted) arguments.clear();
  statement.function = text.substr(0, nameEnd);
  statement.arguments = std::move(arguments);
}

class Reader {
 public:
  ScriptText Read(const std::string& text) {
    size_t lineNumber = 0;
    for (size_t start = 0; start < text.size();) {
      size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      ReadLine(text.substr(start, end - start), ++lineNumber);
      start = end + 1;
    }
    if (pending_) Problem(pendingLine_, "with " + pendingName_ + " has no {");
    for (const Block& block : blocks_) Problem(block.line, "the block opened here is not closed");
    return std::move(out_);
  }

 private:
  struct Block {
    std::string name;
    size_t line;
    ScriptTimeUnit unit;
    double time;
  };

  void Problem(size_t line, std::string what) { out_.problems.push_back({line, std::move(what)}); }

  // The line up to a "--" that stands outside quotes and outside a name.
  std::string WithoutComment(const std::string& line, size_t lineNumber) {
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
      if (line[i] == kQuote) quoted = !quoted;
      if (!quoted && line[i] == '-' && i + 1 < line.size() && line[i + 1] == '-' && (i == 0 || EndsName(line[i - 1]))) {
        return line.substr(0, i);
      }
    }
    if (quoted) Problem(lineNumber, "a quote is not closed on this line");
    return line;
  }

  void ReadLine(const std::string& raw, size_t lineNumber) {
    const std::string line = WithoutComment(raw, lineNumber);
    for (size_t at = SkipBlanks(line, 0); at < line.size(); at = SkipBlanks(line, at)) {
      char c = line[at];
      if (c == '{') {
        OpenBlock(lineNumber);
        ++at;
      } else if (c == '}') {
        CloseBlock(lineNumber);
        ++at;
      } else if (c == ';') {
        ++at;
      } else if (WordAt(line, at, "with")) {
        at = ReadWith(line, SkipBlanks(line, at + 4), lineNumber);
      } else if (WordAt(line, at, "at")) {
        at = ReadTime(line, SkipBlanks(line, at + 2), lineNumber);
      } else {
        at = ReadStatement(line, at, lineNumber);
      }
    }
  }

  // `with NAME`: the name runs to a brace or the end of the line.
  size_t ReadWith(const std::string& line, size_t at, size_t lineNumber) {
    size_t end = at;
    bool quoted = false;
    for (; end < line.size(); ++end) {
      if (line[end] == kQuote) quoted = !quoted;
      if (!quoted && (line[end] == '{' || line[end] == '}')) break;
    }
    DropPending();
    pendingName_ = Trim(line, at, end);
    pendingLine_ = lineNumber;
    pending_ = true;
    if (pendingName_.empty()) Problem(lineNumber, "with names no object");
    return end;
  }

  // `at N` or `at frame N`; N is one token.
  size_t ReadTime(const std::string& line, size_t at, size_t lineNumber) {
    ScriptTimeUnit unit = ScriptTimeUnit::kSeconds;
    if (WordAt(line, at, "frame")) {
      unit = ScriptTimeUnit::kFrames;
      at = SkipBlanks(line, at + 5);
    }
    size_t end = at;
    while (end < line.size() && !IsBlank(line[end]) && line[end] != '{' && line[end] != '}' && line[end] != ';') ++end;
    double time = 0;
    if (ReadNumber(line.substr(at, end - at), time)) {
      unit_ = unit;
      time_ = time;
    } else {
      Problem(lineNumber, "at needs a number of " +
                              std::string(unit == ScriptTimeUnit::kFrames ? "frames" : "seconds") +
                              "; the time stays as it was");
    }
    return end;
  }

  // A statement runs to a ";" or "}" outside quotes and parentheses, or the end of the line.
  size_t ReadStatement(const std::string& line, size_t at, size_t lineNumber) {
    DropPending();
    size_t end = at;
    int depth = 0;
    bool quoted = false;
    for (; end < line.size(); ++end) {
      char c = line[end];
      if (c == kQuote) quoted = !quoted;
      if (quoted) continue;
      if (c == '(') ++depth;
      if (c == ')' && depth > 0) --depth;
      if (depth == 0 && (c == ';' || c == '}')) break;
    }
    ScriptStatement statement;
    statement.line = lineNumber;
    statement.unit = unit_;
    statement.time = time_;
    statement.block = blocks_.empty() ? "" : blocks_.back().name;
    statement.text = Trim(line, at, end);
    SplitCall(statement);
    out_.statements.push_back(std::move(statement));
    return end;
  }

  // A with that no brace follows opens nothing.
  void DropPending() {
    if (pending_) Problem(pendingLine_, "with " + pendingName_ + " has no {");
    pending_ = false;
  }

  // A block starts at the time in force and gives it back when it closes.
  void OpenBlock(size_t lineNumber) {
    std::string name;
    if (pending_) {
      name = pendingName_;
      out_.blocks.push_back({pendingLine_, name});
    } else {
      Problem(lineNumber, "{ without with");
      name = blocks_.empty() ? "" : blocks_.back().name;
    }
    pending_ = false;
    blocks_.push_back({name, lineNumber, unit_, time_});
  }

  void CloseBlock(size_t lineNumber) {
    DropPending();
    if (blocks_.empty()) return Problem(lineNumber, "} closes no block");
    unit_ = blocks_.back().unit;
    time_ = blocks_.back().time;
    blocks_.pop_back();
  }

  ScriptText out_;
  ScriptTimeUnit unit_ = ScriptTimeUnit::kNone;
  double time_ = 0;
  std::vector<Block> blocks_;
  bool pending_ = false;
  std::string pendingName_;
  size_t pendingLine_ = 0;
};

}  // namespace

ScriptText ReadScriptText(const std::string& text) { return Reader().Read(text); }

double ScriptSeconds(const ScriptStatement& statement, double framesPerSecond) {
  switch (statement.unit) {
    case ScriptTimeUnit::kSeconds:
      return statement.time;
    case ScriptTimeUnit::kFrames:
      return framesPerSecond > 0 ? statement.time / framesPerSecond : 0;
    case ScriptTimeUnit::kNone:
      break;
  }
  return 0;
}

}  // namespace rw
