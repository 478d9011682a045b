// The duplicate-name dialog of the Windows build: a real modal dialog box.
#pragma once

#include <memory>

#include "common/utilities.hpp"

namespace tkstream63::com {

// One push button per caption, in order (accelerators from the captions' "&" marks); the
// choice is the 1-based number of the button pressed, 0 when the box is closed (Esc, the close
// box). Owned by the thread's active window, if any.
std::shared_ptr<DuplicateNameDialog> makeWindowsChoiceDialog();

}  // namespace tkstream63::com
