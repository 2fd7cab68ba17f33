#include "platform/drawing/ns_window.h"

namespace kelvo {

// Ordinary windows have level 0; of the others only the screen savers' is asked for.
int CGWindowLevelForKey(int key) { return key == kScreenSaverWindowLevelKey ? 1000 : 0; }

}  // namespace kelvo
