#include "cli/ArgParser.h"

#include <cstddef>

namespace rw {
namespace {

constexpr const char* kEndOfOptions = "--";

bool LooksLikeOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

bool Names(const char* name, const std::string& word) { return name && word == name; }

}  // namespace

ArgParser& ArgParser::Flag(const char* shortName, const char* longName, bool& target) {
  options_.push_back({shortName, longName, nullptr, &target, nullptr, nullptr});
  return *this;
}

ArgParser& ArgParser::Value(const char* shortName, const char* longName, const char* what, std::string& target) {
  options_.push_back({shortName, longName, what, nullptr, &target, nullptr});
  return *this;
}

ArgParser& ArgParser::Values(const char* shortName, const char* longName, const char* what,
                             std::vector<std::string>& target) {
  options_.push_back({shortName, longName, what, nullptr, nullptr, &target});
  return *this;
}

const ArgParser::Option* ArgParser::Find(const std::string& name) const {
  for (const Option& option : options_)
    if (Names(option.shortName, name) || Names(option.longName, name)) return &option;
  return nullptr;
}

std::string ArgParser::Parse(const std::vector<std::string>& words, std::vector<std::string>& operands) const {
  std::vector<const Option*> given;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == kEndOfOptions) {
      operands.insert(operands.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
      break;
    }
    if (!LooksLikeOption(word)) {
      operands.push_back(word);
      continue;
    }
    // "--name=value": only long names carry their value in the same word.
    const size_t equals = word.rfind("--", 0) == 0 ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, equals);
    const Option* option = Find(name);
    if (!option) return "unknown option " + name;
    if (!option->what) {
      if (equals != std::string::npos) return name + " takes no value";
      *option->flag = true;
      continue;
    }
    std::string value;
    if (equals != std::string::npos) {
      value = word.substr(equals + 1);
    } else if (i + 1 < words.size()) {
      value = words[++i];
    }
    if (value.empty()) return name + " needs " + option->what;
    if (option->value) {
      for (const Option* earlier : given)
        if (earlier == option) return name + " is given more than once";
      given.push_back(option);
      *option->value = value;
    } else {
      option->values->push_back(value);
    }
  }
  return "";
}

}  // namespace rw
