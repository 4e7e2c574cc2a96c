// Option parsing shared by the commands.
#include "Arguments.h"

#include <cerrno>
#include <cstdlib>

#include "Format.h"

namespace zsff_tools {

namespace {

const OptionRule* Find(const std::vector<OptionRule>& rules, const std::string& name) {
  for (const OptionRule& rule : rules) {
    if (name == rule.Name) return &rule;
  }
  return nullptr;
}

}  // namespace

bool Arguments::Parse(const std::vector<std::string>& args, const std::vector<OptionRule>& rules,
                      std::string& error) {
  m_Options.clear();
  m_Positional.clear();
  bool optionsEnded = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (optionsEnded || word.size() < 3 || word.compare(0, 2, "--") != 0) {
      if (word == "--") {
        optionsEnded = true;
      } else {
        m_Positional.push_back(word);
      }
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name =
        word.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
    const OptionRule* rule = Find(rules, name);
    if (rule == nullptr) {
      error = "unknown option --" + name;
      return false;
    }
    if (!rule->TakesValue) {
      if (equals != std::string::npos) {
        error = "option --" + name + " takes no value";
        return false;
      }
      m_Options[name];
      continue;
    }
    if (equals != std::string::npos) {
      m_Options[name] = word.substr(equals + 1);
    } else if (i + 1 < args.size()) {
      m_Options[name] = args[++i];
    } else {
      error = "option --" + name + " needs a value";
      return false;
    }
  }
  return true;
}

bool Arguments::GetDouble(const std::string& name, double minimum, double maximum, double& out,
                          std::string& error) const {
  const auto it = m_Options.find(name);
  if (it == m_Options.end()) return true;
  const char* text = it->second.c_str();
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text, &end);
  if (it->second.empty() || *end != '\0' || errno == ERANGE || !(value >= minimum) ||
      !(value <= maximum)) {
    error = Printf("option --%s wants a number from %g to %g, not \"%s\"", name.c_str(), minimum,
                   maximum, it->second.c_str());
    return false;
  }
  out = value;
  return true;
}

bool Arguments::GetInteger(const std::string& name, long long minimum, long long maximum,
                           long long& out, std::string& error) const {
  const auto it = m_Options.find(name);
  if (it == m_Options.end()) return true;
  const char* text = it->second.c_str();
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (it->second.empty() || *end != '\0' || errno == ERANGE || value < minimum || value > maximum) {
    error = "option --" + name + " wants a whole number from " + std::to_string(minimum) + " to " +
            std::to_string(maximum) + ", not \"" + it->second + "\"";
    return false;
  }
  out = value;
  return true;
}

}  // namespace zsff_tools
