// The baseline of bench_evaluator: a desktop-subsystem program that does nothing.

#include <windows.h>

int WINAPI WinMain(HINSTANCE /*hInstance*/, HINSTANCE /*hPrevInstance*/, LPSTR /*pszCmdLine*/,
                   int /*nCmdShow*/)
{
    return 0;
}
