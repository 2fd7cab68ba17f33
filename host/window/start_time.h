#pragma once

#include <QWidget>

namespace kelvo::window {

// If KELVO_TRACE_START is set: prints to standard error how long after the start of the process the
// window had been painted for the first time.
void reportFirstPaint(QWidget& window);

}  // namespace kelvo::window
