// The "File Template" section: registry values named by the entry become environment
// variables, then the template's %NAME% references are filled in from the environment
// and the result is written to the output file.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"

#include <vector>

#include "clientdll/installscript_fileentry.h"
#include "common/registry.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

constexpr unsigned int k_cubRegistryValue = 65536;
constexpr int k_cchMaxVariableName = 512;
constexpr DWORD k_cchExpandedTemplate = 32768;

const char* const k_rgpszTemplateControlKeys[] = {"HasRunKey", "template_file", "output_file"};

bool BIsTemplateControlKey(const char* pszName)
{
    for (const char* pszControlKey : k_rgpszTemplateControlKeys)
    {
        if (V_stricmp(pszName, pszControlKey) == 0)
            return true;
    }
    return false;
}

// The value's text names a registry string; the variable is named after the value. Values
// that do not name a readable string are passed over.
void SetVariableFromRegistry(KeyValues* pkvValue, std::vector<char>& vecValue)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    CUtlString strValueName;
    if (!BParseInstallScriptRegKey(pkvValue->GetString(), &eRoot, &strKey, &strValueName) ||
        !BGetRegistryValueStr(eRoot, strKey, strValueName, vecValue.data(), (unsigned int)vecValue.size()))
        return;
    // Key names are local-code-page text, like registry names.
    const char* pszName = pkvValue->GetName();
    const CLocalCodePageWideText name(pszName);
    if (name.Length() == 0 || name.Length() > k_cchMaxVariableName)
        return;
    SetEnvironmentVariableW(name.Get(), CWideText(vecValue.data()).Get());
}

// The template is expanded as local-code-page text, as the environment gives it.
bool BFillTemplate(const char* pszTemplate, const char* pszOutput)
{
    CUtlBuffer bufTemplate;
    if (!*pszTemplate || !*pszOutput || !LoadFileIntoBuffer(pszTemplate, bufTemplate, true))
        return false;
    bufTemplate.PutChar('\0');
    std::vector<char> vecExpanded(k_cchExpandedTemplate);
    // Past the call's own limit of 32K characters some systems answer with a short result
    // that only the error code gives away.
    SetLastError(ERROR_SUCCESS);
    const DWORD cchExpanded = ExpandEnvironmentStringsA(static_cast<const char*>(bufTemplate.Base()),
                                                        vecExpanded.data(), k_cchExpandedTemplate);
    if (cchExpanded == 0 || cchExpanded > k_cchExpandedTemplate || GetLastError() != ERROR_SUCCESS)
        return false;
    const CUtlBuffer bufOutput(vecExpanded.data(), (int)strlen(vecExpanded.data()), CUtlBuffer::READ_ONLY);
    return BSaveBufferToFile(bufOutput, pszOutput);
}

} // namespace

bool OnFileTemplateKey(const CInstallScriptRunContext& run, KeyValues* pFileTemplateKey)
{
    Assert(pFileTemplateKey);
    if (!pFileTemplateKey)
        return false;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pFileTemplateKey, run.m_unAppID, false);
    if (record.BHasRun())
        return true;

    std::vector<char> vecValue(k_cubRegistryValue);
    for (KeyValues* pkvValue = pFileTemplateKey->GetFirstValue(); pkvValue;
         pkvValue = pkvValue->GetNextValue())
    {
        if (!BIsTemplateControlKey(pkvValue->GetName()))
            SetVariableFromRegistry(pkvValue, vecValue);
    }

    const char* pchTemplateFile = pFileTemplateKey->GetKeyString("template_file", nullptr);
    Assert(pchTemplateFile);
    const CUtlString strTemplate = ExpandEnvironmentStringsUTF8(pchTemplateFile ? pchTemplateFile : "");
    const CUtlString strOutput =
        ExpandEnvironmentStringsUTF8(pFileTemplateKey->GetKeyString("output_file", ""));
    if (!BFillTemplate(strTemplate, strOutput))
    {
        run.Log("Failed to create file template \"%s\"", strTemplate.Get());
        return false;
    }
    record.SetHasRun();
    return true;
}
