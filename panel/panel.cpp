#include "panel/panel.h"

#include <utility>

#include "action/apply_image.h"
#include "panel/kelvo_controller.h"
#include "panel/picture.h"

namespace kelvo {

Panel::Panel(std::shared_ptr<ParameterDictionary> params, const QImage& sample, QWidget* parent)
    : QWidget(parent),
      params_(std::move(params)),
      controller_(std::make_unique<KelvoController>(*this)) {
  const QImage picture = sample.isNull() ? QImage(QStringLiteral(":/kelvo/sample.jpg")) : sample;
  const NSImageRef shown = NSImageFromCIImage(imageWithPicture(picture));
  controller_->beforeView->setImage(shown);
  controller_->afterView->setImage(shown);
  controller_->parameters().setContent(params_);
  controller_->awakeFromNib();
  connect(controller_.get(), &KelvoController::parametersChanged, this, &Panel::parametersChanged);
}

Panel::~Panel() = default;

void Panel::setBundle(std::shared_ptr<const NSBundle> bundle) {
  controller_->curvesView->setBundle(std::move(bundle));
  // The view has woken anew, without its backdrop.
  controller_->curvesHistogramChanged(nullptr);
}

void Panel::reload() { controller_->reload(); }

}  // namespace kelvo
