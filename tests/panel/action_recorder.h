#pragma once

#include <QObject>
#include <vector>

#include "panel/target_action.h"

namespace kelvo::testing {

// A target that writes down who sent it its action.
class ActionRecorder : public QObject {
  Q_OBJECT

 public:
  [[nodiscard]] TargetAction action() { return {this, "record"}; }
  [[nodiscard]] const std::vector<QObject*>& senders() const { return senders_; }

 public slots:
  void record(QObject* sender) { senders_.push_back(sender); }

 private:
  std::vector<QObject*> senders_;
};

}  // namespace kelvo::testing
