// Option table of the zarn2d tool: every option is one entry (names, value, help, and what it
// does), so that a feature adds its options where it lives and --help lists them all.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

/// One command-line option. A flag has an empty valueName; an option with a value takes it from
/// the next argument or after '=' ("--svg=a.svg", "-a0.1" for a one-letter name).
struct ToolOption {
  std::string name;       ///< "--svg"
  char letter;            ///< 'Q' for "-Q", or 0
  std::string valueName;  ///< "FILE", "N", ...; empty for a flag
  std::string help;       ///< shown in --help, wrapped at newlines
  /// Applies the option; returns an error text ("" when fine). value is empty for a flag.
  std::function<std::string(const std::string& value)> apply;
};

/// The options of one group, as --help shows them under a heading.
struct OptionGroup {
  std::string heading;
  std::vector<ToolOption> vOptions;
};

/// Parses argv against the groups: options are applied in the order given, other arguments land
/// in vPositional. Returns an error text ("" when fine). O(arguments x options).
std::string parseOptions(int argc, char** argv, const std::vector<OptionGroup>& vGroups, std::vector<std::string>& vPositional);

/// Writes the option list of every group (names, value, help) as --help shows it.
void printOptionHelp(std::ostream& out, const std::vector<OptionGroup>& vGroups);

/// Parses a whole non-negative integer of at most maxValue; returns "" or an error text.
std::string parseCount(const std::string& text, unsigned long maxValue, unsigned long& value);

/// Parses a whole finite number; returns "" or an error text.
std::string parseNumber(const std::string& text, double& value);
