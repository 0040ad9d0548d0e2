// Host path translation. The export's name is a build setting so that a test build can
// look up one that does not exist and run as if outside the layer.

#include "clientdll/installscript_pathtranslation.h"

#include <windows.h>

#include "tier0/procaddress.h"
#include "vstdlib/strtools.h"

#ifndef ISE_HOST_PATH_TRANSLATION_EXPORT
#define ISE_HOST_PATH_TRANSLATION_EXPORT "wine_get_dos_file_name"
#endif

PFNTranslateHostPath LookUpHostPathTranslation()
{
    return GetProcAddressAs<PFNTranslateHostPath>(GetModuleHandleW(L"kernel32"),
                                                  ISE_HOST_PATH_TRANSLATION_EXPORT);
}

bool BTranslateHostPath(PFNTranslateHostPath pfnTranslate, const char* pszHostPath, CUtlString* pstrPath)
{
    wchar_t* pwszPath = pfnTranslate(pszHostPath);
    if (!pwszPath)
        return false;
    const wchar16* pwchPath = reinterpret_cast<const wchar16*>(pwszPath);
    const int cubPath = V_UTF16ToUTF8(pwchPath, nullptr, 0);
    char* pchPath = cubPath > 1 ? pstrPath->GetForModify(cubPath - 1) : nullptr;
    if (pchPath)
        V_UTF16ToUTF8(pwchPath, pchPath, cubPath);
    else
        pstrPath->Clear();
    HeapFree(GetProcessHeap(), 0, pwszPath);
    return true;
}
