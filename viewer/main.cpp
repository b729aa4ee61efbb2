// main.cpp - the viewer: opens the file named on its command line and runs the windows.

#include "viewer/frame.h"

#include <commctrl.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int show)
{
    InitCommonControls();
    // Files for and from other programs, tones for the eye.
    IMGX_set_interchange(1);
    IMGX_set_true_tones(1);
    viewer_frame frame;
    if (!frame.create(show)) return 1;
    if (__argc > 1) frame.open_file(__argv[1]);
    MSG message;
    while (GetMessageA(&message, nullptr, 0, 0) > 0) {
        if (frame.translate(message)) continue;
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
    return static_cast<int>(message.wParam);
}
