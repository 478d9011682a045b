#include "common/host_message_loop.hpp"

#ifdef _WIN32
#include <windows.h>
#endif

namespace tkstream63 {

void runHostMessageLoopOnce() {
#ifdef _WIN32
    if (!GetInputState()) return;
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {  // the host's own loop must still see it
            PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
#endif
}

}  // namespace tkstream63
