#pragma once

#include <QByteArray>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <utility>

namespace kelvo {

// What a control does when it is used: calls the slot `action(QObject*)` of `target`, the argument
// being whoever is the sender. Does nothing without a target.
class TargetAction {
 public:
  TargetAction() = default;
  TargetAction(QObject* target, QByteArray action) : target_(target), action_(std::move(action)) {}

  void perform(QObject* sender) const {
    if (!target_) return;
    QMetaObject::invokeMethod(target_, action_.constData(), Qt::DirectConnection,
                              Q_ARG(QObject*, sender));
  }

 private:
  QPointer<QObject> target_;
  QByteArray action_;
};

}  // namespace kelvo
