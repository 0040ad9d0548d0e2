// The desktop-subsystem entry point: its own arguments are ignored in favour of the
// runtime's narrow argument vector.

#include <windows.h>

#include <cstdlib>

#include "installscriptevaluator/evaluatormain.h"

int WINAPI WinMain(HINSTANCE /*hInstance*/, HINSTANCE /*hPrevInstance*/, LPSTR /*pszCmdLine*/,
                   int /*nCmdShow*/)
{
    return InstallScriptEvaluator::main(__argc, __argv);
}
