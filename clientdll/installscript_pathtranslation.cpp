// Host path translation. The export's name is a build setting so that a test build can
// look up one that does not exist and run as if outside the layer.

#include "clientdll/installscript_pathtranslation.h"

#include <windows.h>

#include "tier0/procaddress.h"
#include "vstdlib/widetext.h"

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
    *pstrPath = CUTF8Text(pwszPath).Get();
    HeapFree(GetProcessHeap(), 0, pwszPath);
    return true;
}
