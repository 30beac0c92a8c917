// Diagnostics: console messages, the log file, assertions, the exception and the named stopwatch.
#include "tools.h"

#include <chrono>
#include <fstream>
#include <iostream>
#include <map>

#include "MsgBase.h"
#include "ZarnException.h"

namespace KORA_ZARN2D {

namespace {
const char* const kMessageTag = "      [Zarn2D-Message] ";
const char* const kIndent = "      ";
const char* const kLogFileName = "ZARN_LOG.txt";
const char* const kQuietPrefix = "[quiet]";

void reportTagged(const std::string& where, const char* kind, const std::string& msg) {
  std::cout << std::endl;
  std::cout << kMessageTag << where << kind << msg << std::endl;
  std::cout << std::endl;
}

using TimerClock = std::chrono::steady_clock;
std::map<std::string, TimerClock::time_point>& timerTable() {
  static std::map<std::string, TimerClock::time_point> mTimers;  // thread-safe one-time initialisation
  return mTimers;
}
}  // namespace

void reportError(const std::string& where, const std::string& msg) { reportTagged(where, ", ERROR: ", msg); }

void reportWarning(const std::string& where, const std::string& msg) { reportTagged(where, ", WARNING: ", msg); }

void reportInfo(const std::string& where, const std::string& msg) {
  std::cout << std::endl;
  if (where.empty()) {
    std::cout << kMessageTag << "INFO: " << msg << std::endl;
  } else {
    std::cout << kIndent << where << ", INFO: " << msg << std::endl;
  }
  std::cout << std::endl;
}

void logToFile(const std::string& text) {
  std::cout << text << std::endl;
  std::ofstream file(kLogFileName, std::ios::out | std::ios::trunc);
  if (file) file << text << std::endl;
}

void assertionFailed(const char* conditionText, const char* file, int line) {
  const std::string condition(std::string("Condition [ ") + conditionText + " failed ]");
  reportError("Zarn, ", condition);
  logToFile("Zarn, " + condition);
  std::cout << kIndent << file << ":" << line << std::endl;
  throw ZarnException();
}

const char* ZarnException::what() const noexcept {
  return "\n  ZARN EXCEPTION due to a bug _or_ wrong usage of Zarn. If you think it is a \n  bug then please report "
         "this incident and it will be fixed quickly: support@zarn2d.invalid";
}

MsgBase::~MsgBase() {}

double timer(const std::string& name) {
  const bool bQuiet(name.rfind(kQuietPrefix, 0) == 0);
  std::map<std::string, TimerClock::time_point>& mTimers(timerTable());
  std::map<std::string, TimerClock::time_point>::iterator it(mTimers.find(name));
  if (it == mTimers.end()) {
    mTimers[name] = TimerClock::now();
    if (!bQuiet) std::cout << "...Timer [" << name << "] start" << std::endl;
    return -1.0;
  }
  const double elapsed(std::chrono::duration<double>(TimerClock::now() - it->second).count());
  mTimers.erase(it);
  if (!bQuiet) {
    std::cout << "...Timer [" << name << "] stop, elapsed time: " << std::fixed;
    std::cout.precision(3);
    std::cout << elapsed << " s" << std::endl;
    std::cout.precision(6);  // the fixed-notation flag deliberately stays set
  }
  return elapsed;
}

}  // namespace KORA_ZARN2D
