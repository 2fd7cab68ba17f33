#pragma once

#include <QWidget>

namespace kelvo {

class KelvoController;

// Connects a loaded layout: the dynamic properties "sliderName" (of step buttons and number fields)
// and "action" (the slot of the controller that a control calls, itself being the argument) name
// what is meant. A name that means nothing is a mistake in the layout and ends the program.
void connectLayout(QWidget& panel, KelvoController& controller);

// The settings beside the pictures: `space` units right of the after view, from its top down to 3
// units above the lower edge of the pop-up; and so it stays when the panel is resized.
void layTabViewOut(KelvoController& controller, int space);

}  // namespace kelvo
