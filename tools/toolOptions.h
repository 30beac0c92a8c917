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

// Options of the common kinds; the targets must outlive the options.
/// A flag: sets bTarget.
ToolOption flagOption(const std::string& name, char letter, bool& bTarget, const std::string& help);
/// A non-empty text.
ToolOption textOption(const std::string& name, const std::string& valueName, std::string& target, const std::string& help);
/// An output file, checked for writability (checkWritable) when it is given.
ToolOption outputFileOption(const std::string& name, std::string& target, const std::string& help);
/// A whole number in [0, maxValue]; sets *pGiven when given.
ToolOption countOption(const std::string& name, unsigned long maxValue, unsigned long& target, const std::string& help, bool* pGiven = nullptr);
/// A number above 0 and at most maxValue.
ToolOption positiveOption(const std::string& name, char letter, const std::string& valueName, double maxValue, double& target,
                          const std::string& help);

/// "" when the file can be created or replaced, else why not; a name "-" (standard output) may be
/// given once per run, the second one is an error.
std::string checkWritable(const std::string& name);

/// The command line of a subcommand (argv[0] is its name): its options plus --help, and exactly
/// numPositional other arguments (named in usageHead). On --help writes usageHead, the options and
/// usageTail to standard output. Returns true to go on; otherwise exitCode is what the command
/// returns (0 after --help, 1 after an error, reported as "<command>: <error>" on standard error).
bool parseCommandLine(int argc, char** argv, const std::string& command, const std::string& usageHead, std::vector<ToolOption> vOptions,
                      const std::string& usageTail, size_t numPositional, std::vector<std::string>& vPositional, int& exitCode);
