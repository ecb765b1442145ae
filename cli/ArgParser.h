// One parser for the words after a command's name, shared by every command: the options come
// from a table the command declares, the other words (the operands) are kept in order.
#ifndef REELWRIGHT_CLI_ARGPARSER_H
#define REELWRIGHT_CLI_ARGPARSER_H

#include <string>
#include <vector>

namespace rw {

// A command declares each option in one line, naming where its value goes:
//   ArgParser parser;
//   parser.Flag("-f", "--force", args.force);
//   parser.Value("-o", "--output", "a file name", args.output);
// The rules: "--" ends the options, so every later word is an operand, even "-x"; a value is
// given as "--name value" or "--name=value" (a short name takes only the next word), and that
// next word is the value even when it starts with '-'; "-" alone is an operand; any other word
// that starts with '-' and names no option is refused.
class ArgParser {
 public:
  // An option without a value: sets target to true. shortName may be null.
  ArgParser& Flag(const char* shortName, const char* longName, bool& target);
  // An option with one non-empty value, given at most once; `what` names the value in messages
  // ("-o needs a file name").
  ArgParser& Value(const char* shortName, const char* longName, const char* what, std::string& target);
  // An option that may be given many times, each time with one non-empty value, kept in order.
  ArgParser& Values(const char* shortName, const char* longName, const char* what, std::vector<std::string>& target);

  // Sets the declared targets from words and appends the operands to `operands`. Returns the
  // problem in the words the user reads after "error: ", empty when there is none.
  std::string Parse(const std::vector<std::string>& words, std::vector<std::string>& operands) const;

 private:
  struct Option {
    const char* shortName;
    const char* longName;
    const char* what;  // null: a flag
    bool* flag;
    std::string* value;
    std::vector<std::string>* values;
  };
  const Option* Find(const std::string& name) const;
  std::vector<Option> options_;
};

}  // namespace rw

#endif
