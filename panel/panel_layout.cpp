#include "panel/panel_layout.h"

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr int kSpaceBelowTabView = 3;
constexpr int kSeparators[] = {5, 12};

NSSlider* sliderNamed(const QWidget& panel, const QString& name) {
  auto* slider = panel.findChild<NSSlider*>(name);
  if (slider == nullptr) qFatal("panel.ui: no slider named %s", qUtf8Printable(name));
  return slider;
}

void connectSlider(const QWidget& panel, QObject& control) {
  const QVariant name = control.property("sliderName");
  if (!name.isValid()) return;
  NSSlider* slider = sliderNamed(panel, name.toString());
  if (auto* button = qobject_cast<KelvoButton*>(&control)) button->setSlider(slider);
  if (auto* field = qobject_cast<KelvoTextField*>(&control)) {
    field->setProperty("slider", QVariant::fromValue(slider));
  }
}

void connectAction(KelvoController& controller, QObject& control) {
  const QVariant name = control.property("action");
  if (!name.isValid()) return;
  const QByteArray slot = name.toByteArray();
  if (controller.metaObject()->indexOfMethod(slot + "(QObject*)") < 0) {
    qFatal("panel.ui: the controller has no %s", slot.constData());
  }
  const TargetAction action(&controller, slot);
  const auto perform = [action, sender = &control] { action.perform(sender); };
  if (auto* slider = qobject_cast<NSSlider*>(&control)) {
    slider->setTargetAction(action);
  } else if (auto* well = qobject_cast<NSColorWell*>(&control)) {
    well->setTargetAction(action);
  } else if (auto* matrix = qobject_cast<NSMatrix*>(&control)) {
    matrix->setTargetAction(action);
  } else if (auto* popUp = qobject_cast<QComboBox*>(&control)) {
    QObject::connect(popUp, &QComboBox::activated, &controller, perform);
  } else if (auto* button = qobject_cast<QAbstractButton*>(&control)) {
    QObject::connect(button, &QAbstractButton::clicked, &controller, perform);
  } else {
    qFatal("panel.ui: %s has no action to perform", qUtf8Printable(control.objectName()));
  }
}

}  // namespace

void connectLayout(QWidget& panel, KelvoController& controller) {
  for (QWidget* control : panel.findChildren<QWidget*>()) {
    connectSlider(panel, *control);
    connectAction(controller, *control);
    if (auto* field = qobject_cast<KelvoTextField*>(control)) {
      QObject::connect(field, &KelvoTextField::didEndEditing, &controller,
                       &KelvoController::controlTextDidEndEditing);
    }
  }
  for (const int index : kSeparators) controller.filterPopUp->insertSeparator(index);

  controller.curvesView->setLabels(controller.curvesLeftLabel, controller.curvesBottomLabel);

  // A click on the picture chooses the color to replace.
  KelvoImage* before = controller.beforeView;
  QObject::connect(controller.tabView, &QStackedWidget::currentChanged, before,
                   [before](int index) {
                     before->setPicking(index == static_cast<int>(FilterNumber::replaceColor));
                   });
  QObject::connect(before, &KelvoImage::colorPicked, controller.replaceColorWell,
                   &NSColorWell::chooseColor);
}

void layTabViewOut(KelvoController& controller, int space) {
  controller.panelLayout->setHorizontalSpacing(space);
  controller.boxLayout->setContentsMargins(0, 0, 0, kSpaceBelowTabView);
}

}  // namespace kelvo
