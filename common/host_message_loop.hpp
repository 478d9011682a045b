// Lets the host's message loop run during long operations, so a host window stays responsive.
#pragma once

namespace tkstream63 {

// When the thread has input waiting (GetInputState), dispatches the queued messages once.
// Builds without a message loop (POSIX) do nothing.
void runHostMessageLoopOnce();

}  // namespace tkstream63
