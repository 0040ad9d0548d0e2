#pragma once
// Typed look-up of an exported function. Windows only.

#include <windows.h>

// Null when the module is null or lacks the export. The detour through void (*)() keeps
// the compiler from warning about the function-type cast.
template <typename TFunction>
TFunction GetProcAddressAs(HMODULE hModule, const char* pszName)
{
    if (!hModule)
        return nullptr;
    return reinterpret_cast<TFunction>(reinterpret_cast<void (*)()>(GetProcAddress(hModule, pszName)));
}
