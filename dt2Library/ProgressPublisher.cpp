// ProgressPublisher: hands progress messages to subscribed receivers.
#include "ProgressPublisher.h"

namespace KORA_ZARN2D {

ProgressPublisher::ProgressPublisher(const std::string& name) : name(name), lastPublishedProgress(0), silenceDepth(0) {}

void ProgressPublisher::subscribe(MsgType msgType, MsgBase* pMsg) {
  const auto range(mSubscribers.equal_range(msgType));
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second == pMsg) return;
  }
  mSubscribers.emplace(msgType, pMsg);
}

void ProgressPublisher::unsubscribe(MsgType msgType, MsgBase* pMsg) {
  const auto range(mSubscribers.equal_range(msgType));
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second == pMsg) {
      mSubscribers.erase(it);
      return;
    }
  }
}

void ProgressPublisher::startStep(const std::string& text) {
  if (silenceDepth > 0) return;
  currentStep = text;
  publishProgress(0.0);
}

void ProgressPublisher::finishStep() { publishProgress(1.0); }

void ProgressPublisher::publishProgress(double fraction) {
  if (silenceDepth > 0) return;
  lastPublishedProgress = fraction;
  const auto range(mSubscribers.equal_range(MSG_PROGRESS));
  for (auto it = range.first; it != range.second; ++it) it->second->update(MSG_PROGRESS, currentStep, fraction);
}

}  // namespace KORA_ZARN2D
