// The command line of one command: options ("--name value", "--name=value",
// flags without a value) and positional arguments, checked against the options
// the command declares. Errors come back as one line of text for the caller to
// print.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace zsff_tools {

struct OptionRule {
  const char* Name;  // without the leading "--"
  bool TakesValue;
};

class Arguments {
 public:
  // Splits `args` (the words after the command's name). "--" ends the options.
  // False with `error` set for an unknown option, a flag given a value, or an
  // option missing its value.
  bool Parse(const std::vector<std::string>& args, const std::vector<OptionRule>& rules,
             std::string& error);

  bool Has(const std::string& name) const { return m_Options.count(name) != 0; }
  const std::vector<std::string>& Positional() const { return m_Positional; }
  // The option's text; empty when the option is absent.
  std::string Value(const std::string& name) const {
    const auto found = m_Options.find(name);
    return found == m_Options.end() ? std::string() : found->second;
  }

  // The option's value as a number; `out` keeps its default when the option is
  // absent. False with `error` set when the text isn't a number within
  // [minimum, maximum].
  bool GetDouble(const std::string& name, double minimum, double maximum, double& out,
                 std::string& error) const;
  bool GetInteger(const std::string& name, long long minimum, long long maximum, long long& out,
                  std::string& error) const;

 private:
  std::map<std::string, std::string> m_Options;
  std::vector<std::string> m_Positional;
};

}  // namespace zsff_tools
