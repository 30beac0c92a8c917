// ProgressPublisher: hands progress messages to subscribed receivers.
#pragma once

#include <map>
#include <string>

#include "MsgBase.h"

namespace KORA_ZARN2D {

/// A named publisher of progress messages with its own subscription store.
///
/// Receivers subscribe per message type, once per (type, receiver) pair; the publisher never owns
/// them. A long operation announces a step, reports its progress as often as it likes, and finishes
/// the step: receivers of MSG_PROGRESS get the start (0), every advance of at least one percent, and
/// the end (1), so that reporting per item of a large loop costs a comparison per item, not a call.
class ProgressPublisher {
 public:
  explicit ProgressPublisher(const std::string& name);

  const std::string& getName() const { return name; }
  /// Adds the pair unless it is there already. O(number of receivers of msgType).
  void subscribe(MsgType msgType, MsgBase* pMsg);
  /// Removes the pair if it is there.
  void unsubscribe(MsgType msgType, MsgBase* pMsg);

  /// Starts the step text and publishes progress 0.
  void startStep(const std::string& text);
  /// Publishes fraction (in [0, 1]) if it is at least one percent beyond the last published value.
  void setProgress(double fraction) {
    if (fraction >= lastPublishedProgress + kMinProgressStep) publishProgress(fraction);
  }
  /// Publishes progress 1 for the current step.
  void finishStep();

  /// While an instance lives, nothing is published (a step nested in a reported step stays quiet).
  class Silence {
   public:
    explicit Silence(ProgressPublisher& publisher) : publisher(publisher) { ++publisher.silenceDepth; }
    ~Silence() { --publisher.silenceDepth; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

   private:
    ProgressPublisher& publisher;
  };

 private:
  static constexpr double kMinProgressStep = 0.01;

  void publishProgress(double fraction);

  std::string name;
  std::multimap<MsgType, MsgBase*> mSubscribers;
  std::string currentStep;
  double lastPublishedProgress;
  int silenceDepth;
};

}  // namespace KORA_ZARN2D
