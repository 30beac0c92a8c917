// Option table of the zarn2d tool.
#include "toolOptions.h"

#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <ostream>

namespace {

const ToolOption* findOption(const std::vector<OptionGroup>& vGroups, const std::string& name, char letter) {
  for (const OptionGroup& group : vGroups) {
    for (const ToolOption& option : group.vOptions) {
      if ((!name.empty() && option.name == name) || (name.empty() && letter != 0 && option.letter == letter)) return &option;
    }
  }
  return nullptr;
}

std::string applyOption(const ToolOption& option, const std::string& value) {
  const std::string error(option.apply(value));
  return error.empty() ? error : option.name + ": " + error;
}

}  // namespace

std::string parseOptions(int argc, char** argv, const std::vector<OptionGroup>& vGroups, std::vector<std::string>& vPositional) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg(argv[i]);
    if (arg.size() < 2 || arg[0] != '-') {
      vPositional.push_back(arg);
      continue;
    }
    const bool bLong(arg[1] == '-');
    const size_t equals(bLong ? arg.find('=') : std::string::npos);
    const std::string name(bLong ? arg.substr(0, equals) : "");
    const ToolOption* pOption(findOption(vGroups, name, bLong ? 0 : arg[1]));
    if (pOption == nullptr || (!bLong && arg.size() > 2 && pOption->valueName.empty())) {
      return "unknown option " + arg + " (see --help)";
    }
    const std::string shown(bLong ? name : arg.substr(0, 2));
    if (pOption->valueName.empty()) {
      if (equals != std::string::npos) return shown + " takes no value (see --help)";
      const std::string error(applyOption(*pOption, ""));
      if (!error.empty()) return error;
      continue;
    }
    std::string value;
    if (equals != std::string::npos) {
      value = arg.substr(equals + 1);
    } else if (!bLong && arg.size() > 2) {
      value = arg.substr(2);
    } else if (i + 1 < argc) {
      value = argv[++i];
    } else {
      return shown + " needs a value (see --help)";
    }
    const std::string error(applyOption(*pOption, value));
    if (!error.empty()) return error;
  }
  return "";
}

void printOptionHelp(std::ostream& out, const std::vector<OptionGroup>& vGroups) {
  const size_t kHelpColumn(24);
  for (const OptionGroup& group : vGroups) {
    out << "\n" << group.heading << ":\n";
    for (const ToolOption& option : group.vOptions) {
      std::string names("  " + (option.letter != 0 ? std::string("-") + option.letter + ", " : std::string()) + option.name);
      if (!option.valueName.empty()) names += " " + option.valueName;
      out << names;
      size_t column(names.size());
      size_t start(0);
      do {
        const size_t end(option.help.find('\n', start));
        const std::string line(option.help.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (column + 2 > kHelpColumn) {
          out << "\n";
          column = 0;
        }
        out << std::string(kHelpColumn - column, ' ') << line << "\n";
        column = 0;
        start = end == std::string::npos ? end : end + 1;
      } while (start != std::string::npos);
    }
  }
}

std::string parseCount(const std::string& text, unsigned long maxValue, unsigned long& value) {
  char* end(nullptr);
  errno = 0;
  const unsigned long long parsed(std::strtoull(text.c_str(), &end, 10));
  if (text.empty() || text[0] == '-' || *end != '\0' || errno == ERANGE) {
    return "needs a non-negative integer, not \"" + text + "\"";
  }
  if (parsed > maxValue) return "is at most " + std::to_string(maxValue) + ", not " + text;
  value = static_cast<unsigned long>(parsed);
  return "";
}

std::string parseNumber(const std::string& text, double& value) {
  char* end(nullptr);
  const double parsed(std::strtod(text.c_str(), &end));
  if (text.empty() || *end != '\0' || !std::isfinite(parsed)) return "needs a finite number, not \"" + text + "\"";
  value = parsed;
  return "";
}

ToolOption flagOption(const std::string& name, char letter, bool& bTarget, const std::string& help) {
  return {name, letter, "", help, [&bTarget](const std::string&) {
            bTarget = true;
            return std::string();
          }};
}

ToolOption textOption(const std::string& name, const std::string& valueName, std::string& target, const std::string& help) {
  return {name, 0, valueName, help, [&target](const std::string& value) {
            if (value.empty()) return std::string("needs a non-empty value");
            target = value;
            return std::string();
          }};
}

ToolOption outputFileOption(const std::string& name, std::string& target, const std::string& help) {
  return {name, 0, "FILE", help, [&target](const std::string& value) {
            target = value;
            return checkWritable(value);
          }};
}

ToolOption countOption(const std::string& name, unsigned long maxValue, unsigned long& target, const std::string& help, bool* pGiven) {
  return {name, 0, "N", help, [&target, maxValue, pGiven](const std::string& value) {
            if (pGiven != nullptr) *pGiven = true;
            return parseCount(value, maxValue, target);
          }};
}

ToolOption positiveOption(const std::string& name, char letter, const std::string& valueName, double maxValue, double& target,
                          const std::string& help) {
  return {name, letter, valueName, help, [&target, maxValue](const std::string& value) {
            const std::string error(parseNumber(value, target));
            if (!error.empty()) return error;
            if (!(target > 0.0) || target > maxValue) {
              return maxValue < HUGE_VAL ? "must be above 0 and at most " + std::to_string(static_cast<int>(maxValue)) : std::string("must be above 0");
            }
            return std::string();
          }};
}

std::string checkWritable(const std::string& name) {
  namespace fs = std::filesystem;
  static int numStdout(0);
  if (name == "-") return ++numStdout > 1 ? "only one output can be \"-\" (standard output)" : "";
  if (name.empty()) return "";
  std::error_code error;
  if (fs::is_directory(name, error)) return name + " is a directory, not a file";
  const fs::path parent(fs::path(name).parent_path().empty() ? fs::path(".") : fs::path(name).parent_path());
  if (!fs::is_directory(parent, error)) return name + " can't be written: " + parent.string() + " is not a directory";
  if (access(parent.c_str(), W_OK) != 0 || (fs::exists(name, error) && access(name.c_str(), W_OK) != 0)) return name + " can't be written";
  return "";
}

bool parseCommandLine(int argc, char** argv, const std::string& command, const std::string& usageHead, std::vector<ToolOption> vOptions,
                      const std::string& usageTail, size_t numPositional, std::vector<std::string>& vPositional, int& exitCode) {
  bool bHelp(false);
  vOptions.push_back(flagOption("--help", 'h', bHelp, "show this text"));
  const std::vector<OptionGroup> vGroups{{"Options", vOptions}};
  std::string error(parseOptions(argc, argv, vGroups, vPositional));
  if (error.empty() && !bHelp && vPositional.size() != numPositional) {
    error = std::string(vPositional.size() < numPositional ? "missing" : "too many") + " file arguments (see --help)";
  }
  exitCode = error.empty() ? 0 : 1;
  if (!error.empty()) std::cerr << command << ": " << error << std::endl;
  if (error.empty() && bHelp) printOptionHelp(std::cout << usageHead, vGroups), std::cout << usageTail;
  return error.empty() && !bHelp;
}
