// Console of the zarn2d tool: data on standard output, everything a person reads on standard
// error (the library's messages rewritten to one line without internal names), a progress bar.
#pragma once

#include <iosfwd>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "MsgBase.h"

/// Owns the split of the two standard streams for the life of the tool. While a Console lives,
/// std::cout (where the library prints) goes through a filter to standard error and `data()`
/// writes to the real standard output, so that an output file "-" carries nothing but data.
class Console : public KORA_ZARN2D::MsgBase {
 public:
  /// name starts every warning and error ("zarn2d", "zarn2d mesh").
  explicit Console(const std::string& name = "zarn2d");
  ~Console() override;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// With bQuiet, log lines and the library's notes are dropped; warnings and errors still show.
  void setQuiet(bool bQuiet);
  /// The stream of data outputs named "-".
  std::ostream& data();
  /// Prints one log line on standard error (nothing when quiet).
  void log(const std::string& line);
  /// Prints name + ": warning: " + text on standard error.
  void warn(const std::string& text);
  /// Prints name + ": " + text on standard error.
  void error(const std::string& text);
  /// From now on log lines and warnings are collected instead of printed, until releaseMessages.
  void holdMessages();
  /// Ends holdMessages: prints what was collected when bPrint, and returns the text of the last
  /// warning collected ("" when none), so that a failure can name its reason on its own line.
  std::string releaseMessages(bool bPrint);

  /// Names the step the following progress messages belong to and starts its stopwatch.
  void beginStep(const std::string& name);
  /// Ends the step: clears the bar and logs "<name>: <seconds> s" (with detail before the time
  /// when given). Returns the seconds.
  double endStep(const std::string& detail = "");

  /// Progress messages of the library (MSG_PROGRESS): drawn as a bar when standard error is a
  /// terminal and the tool is not quiet, ignored otherwise.
  void update(KORA_ZARN2D::MsgType msgType, const std::string& text, double progress) override;

 private:
  class LibraryFilter;
  void clearBar();
  void writeLine(const std::string& line);

  std::string name;
  std::unique_ptr<LibraryFilter> pFilter;
  std::streambuf* pStdoutBuffer;
  std::unique_ptr<std::ostream> pData;
  bool bQuiet;
  bool bBarShown;
  bool bTerminal;
  std::string stepName;
  double stepStart;
  int lastPercent;
  bool bHold;
  std::vector<std::string> vHeldLines;
  std::string lastHeldWarning;
};
