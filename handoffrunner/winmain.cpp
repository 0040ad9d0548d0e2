// The desktop-subsystem entry point: no window, no console. Paths in the arguments may be
// any Unicode text, so the arguments come from the UTF-8 block, not the code-page vector.

#include <windows.h>

#include "handoffrunner/handoffrunner.h"
#include "tier0/commandline.h"

int WINAPI WinMain(HINSTANCE /*hInstance*/, HINSTANCE /*hPrevInstance*/, LPSTR /*pszCmdLine*/,
                   int /*nCmdShow*/)
{
    int argc = 0;
    char** argv = GetUTF8ArgcArgv(&argc);
    return HandOffRunner::main(argc, argv);
}
