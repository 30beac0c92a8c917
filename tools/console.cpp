// Console of the zarn2d tool: stream split, the filter of library messages, the progress bar.
#include "console.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <regex>
#include <sstream>

using namespace KORA_ZARN2D;

namespace {

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

std::string afterFirst(const std::string& text, const std::string& key) {
  const size_t pos(text.find(key));
  return pos == std::string::npos ? std::string() : text.substr(pos + key.size());
}

}  // namespace

/// Collects what the library prints into lines and hands each to the console rewritten: the blank
/// lines around messages go, "[Zarn2D-Message] Class::method(..), WARNING: text" becomes
/// "zarn2d: warning: text", and a bare "Class::method(name)" heading is dropped.
class Console::LibraryFilter : public std::streambuf {
 public:
  explicit LibraryFilter(Console& console) : console(console) {}
  ~LibraryFilter() override {
    if (!line.empty()) passOn();
  }

 protected:
  int overflow(int c) override {
    if (c == traits_type::eof()) return 0;
    if (c == '\n') {
      passOn();
    } else {
      line.push_back(static_cast<char>(c));
    }
    return c;
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    for (std::streamsize i = 0; i < n; ++i) overflow(static_cast<unsigned char>(s[i]));
    return n;
  }

 private:
  void passOn() {
    const std::string text(line);
    line.clear();
    static const std::regex heading("^[A-Za-z_]\\w*::\\w+\\(.*\\)$");
    if (text.find_first_not_of(" \t\r") == std::string::npos || std::regex_match(text, heading)) return;
    for (const char* kind : {", ERROR: ", ", WARNING: "}) {
      const std::string message(afterFirst(text, kind));
      if (message.empty()) continue;
      if (kind[2] == 'E') {
        console.error("error: " + message);
      } else {
        console.warn(message);
      }
      return;
    }
    const std::string note(afterFirst(text, "INFO: "));
    console.log(note.empty() ? text : console.name + ": " + note);
  }

  Console& console;
  std::string line;
};

Console::Console(const std::string& name_)
    : name(name_),
      pFilter(new LibraryFilter(*this)),
      pStdoutBuffer(std::cout.rdbuf()),
      pData(new std::ostream(pStdoutBuffer)),
      bQuiet(false),
      bBarShown(false),
      bTerminal(isatty(STDERR_FILENO) == 1),
      stepStart(0.0),
      lastPercent(-1),
      bHold(false) {
  std::cout.rdbuf(pFilter.get());
}

Console::~Console() {
  std::cout.rdbuf(pStdoutBuffer);
  pFilter.reset();
  pData->flush();
}

void Console::setQuiet(bool bQuiet_) { bQuiet = bQuiet_; }

std::ostream& Console::data() { return *pData; }

void Console::writeLine(const std::string& text) {
  if (bHold) {
    vHeldLines.push_back(text);
    return;
  }
  clearBar();
  std::cerr << text << std::endl;
}

void Console::log(const std::string& line) {
  if (!bQuiet) writeLine(line);
}

void Console::warn(const std::string& text) {
  if (bHold) lastHeldWarning = text;
  writeLine(name + ": warning: " + text);
}

void Console::error(const std::string& text) { writeLine(name + ": " + text); }

void Console::holdMessages() { bHold = true; }

std::string Console::releaseMessages(bool bPrint) {
  bHold = false;
  if (bPrint) {
    for (const std::string& line : vHeldLines) writeLine(line);
  }
  vHeldLines.clear();
  std::string warning;
  warning.swap(lastHeldWarning);
  return warning;
}

void Console::beginStep(const std::string& name) {
  stepName = name;
  stepStart = now();
  lastPercent = -1;
}

double Console::endStep(const std::string& detail) {
  const double seconds(now() - stepStart);
  std::ostringstream text;
  text << stepName << (detail.empty() ? "" : " (" + detail + ")") << ": " << std::fixed << std::setprecision(3) << seconds << " s";
  log(text.str());
  return seconds;
}

void Console::update(MsgType msgType, const std::string& /*text*/, double progress) {
  if (msgType != MSG_PROGRESS || bQuiet || !bTerminal || !std::isfinite(progress)) return;
  const int percent(static_cast<int>(std::min(1.0, std::max(0.0, progress)) * 100.0));
  if (percent == lastPercent) return;
  lastPercent = percent;
  const int kWidth(30), filled(percent * kWidth / 100);
  std::cerr << "\r" << stepName << " [" << std::string(static_cast<size_t>(filled), '#')
            << std::string(static_cast<size_t>(kWidth - filled), ' ') << "] " << std::setw(3) << percent << "%" << std::flush;
  bBarShown = true;
}

void Console::clearBar() {
  if (!bBarShown) return;
  std::cerr << "\r\033[K" << std::flush;
  bBarShown = false;
}
