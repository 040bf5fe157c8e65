// The smallest program there is: it starts and ends.
#include "platform/Windows.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    return -1;
}
