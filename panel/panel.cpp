#include "panel/panel.h"

#include <utility>

namespace kelvo {

Panel::Panel(std::shared_ptr<ParameterDictionary> params, const QImage& /*sample*/, QWidget* parent)
    : QWidget(parent), params_(std::move(params)) {}

Panel::~Panel() = default;

void Panel::reload() {}

}  // namespace kelvo
