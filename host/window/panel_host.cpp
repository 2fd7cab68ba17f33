#include "host/window/panel_host.h"

#include <QVBoxLayout>
#include <utility>

namespace kelvo::window {

PanelHost::PanelHost(std::shared_ptr<ParameterDictionary> parameters, QWidget* parent)
    : QWidget(parent),
      parameters_(std::move(parameters)),
      area_(new QScrollArea(this)),
      foreign_(new QLabel(tr("This action is not one of Kelvo's adjustments.\n"
                             "It stays in the workflow as it is."),
                          this)) {
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(area_);
  layout->addWidget(foreign_);
  area_->setWidgetResizable(true);
  area_->setFrameShape(QFrame::NoFrame);
  foreign_->setAlignment(Qt::AlignCenter);
  foreign_->hide();
  makePanel();
}

PanelHost::~PanelHost() {
  area_->takeWidget();
  panel_.reset();
}

void PanelHost::setBundle(std::shared_ptr<const NSBundle> bundle) {
  bundle_ = std::move(bundle);
  panel_->setBundle(bundle_);
}

void PanelHost::showSample(const QImage& sample) {
  sample_ = sample;
  makePanel();
}

void PanelHost::reload(bool editable) {
  showBefore(false);
  area_->setVisible(editable);
  foreign_->setVisible(!editable);
  if (editable) {
    panel_->reload();
  }
}

// There is one panel at a time: the old one goes first.
void PanelHost::makePanel() {
  const bool focused = panel_ != nullptr && panel_->isAncestorOf(focusWidget());
  const QString focusName = focused ? focusWidget()->objectName() : QString();
  showBefore(false);
  area_->takeWidget();
  panel_.reset();
  panel_ = std::make_unique<Panel>(parameters_, sample_);
  panel_->setBundle(bundle_);
  connect(panel_.get(), &Panel::parametersChanged, this, &PanelHost::parametersChanged);
  area_->setWidget(panel_.get());
  panel_->show();
  if (!focusName.isEmpty()) {
    if (auto* const control = panel_->findChild<QWidget*>(focusName)) {
      control->setFocus();
    }
  }
}

void PanelHost::showBefore(bool before) {
  if (!before) {
    delete cover_;
    return;
  }
  auto* const after = panel_->findChild<QWidget*>(QStringLiteral("afterView"));
  auto* const unadjusted = panel_->findChild<QWidget*>(QStringLiteral("beforeView"));
  if (cover_ != nullptr || after == nullptr || unadjusted == nullptr || !area_->isVisible()) {
    return;
  }
  cover_ = new QLabel(after);
  cover_->setPixmap(unadjusted->grab());
  cover_->setGeometry(after->rect());
  cover_->setScaledContents(true);
  cover_->setAccessibleName(tr("Before"));
  cover_->show();
}

}  // namespace kelvo::window
