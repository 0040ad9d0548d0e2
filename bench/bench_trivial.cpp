// The baselines of bench_evaluator: a desktop-subsystem program that does nothing, or,
// given "folders", only asks the shell for the four known folders a job needs (the
// floor the evaluator cannot go below: the shell brings user32 and its friends along).

#include <windows.h>
// windows.h first: shlobj.h depends on it.
#include <shlobj.h>

#include <cstring>
#include <initializer_list>

#include "tier0/procaddress.h"

int WINAPI WinMain(HINSTANCE /*hInstance*/, HINSTANCE /*hPrevInstance*/, LPSTR pszCmdLine, int /*nCmdShow*/)
{
    if (strcmp(pszCmdLine, "folders") != 0)
        return 0;
    typedef HRESULT(WINAPI * PFNSHGetFolderPathW)(HWND, int, HANDLE, DWORD, LPWSTR);
    const auto pfnGetFolderPath =
        GetProcAddressAs<PFNSHGetFolderPathW>(LoadLibraryW(L"shell32.dll"), "SHGetFolderPathW");
    wchar_t wszFolder[MAX_PATH];
    for (int nFolder : {CSIDL_PERSONAL, CSIDL_COMMON_DOCUMENTS, CSIDL_LOCAL_APPDATA, CSIDL_APPDATA})
        pfnGetFolderPath(nullptr, nFolder, nullptr, 0, wszFolder);
    return 0;
}
