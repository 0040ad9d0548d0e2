#include "installscript/run_job.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <unistd.h>

#include "installscript/check_job.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

namespace
{

// The modes by the names people use for them.
struct ModeName_s
{
    const char* m_pszName;
    int m_nMode;
};
constexpr ModeName_s k_rgModeNames[] = {{"install", 1}, {"update", 2}, {"uninstall", 3}, {"cleanup", 4}};

bool BReadFile(const std::string& strFile, std::string* pstrText)
{
    FILE* pFile = fopen(strFile.c_str(), "rb");
    if (!pFile)
        return false;
    char rgchBlock[65536];
    for (size_t cbRead; (cbRead = fread(rgchBlock, 1, sizeof(rgchBlock), pFile)) > 0;)
        pstrText->append(rgchBlock, cbRead);
    const bool bRead = !ferror(pFile);
    fclose(pFile);
    return bRead;
}

std::string FolderOf(const std::string& strFile)
{
    char* pszReal = realpath(strFile.c_str(), nullptr);
    std::string strPath = pszReal ? pszReal : strFile;
    free(pszReal);
    const size_t iSlash = strPath.rfind('/');
    return iSlash == std::string::npos ? "." : iSlash == 0 ? "/" : strPath.substr(0, iSlash);
}

// A folder that does not exist yet is still given from the root.
std::string AbsolutePath(const std::string& strPath)
{
    char* pszReal = realpath(strPath.c_str(), nullptr);
    std::string strAbsolute = pszReal ? pszReal : strPath;
    free(pszReal);
    if (!strAbsolute.empty() && strAbsolute[0] != '/')
    {
        char szCurrent[PATH_MAX];
        if (getcwd(szCurrent, sizeof(szCurrent)))
            strAbsolute = std::string(szCurrent) + "/" + strAbsolute;
    }
    return strAbsolute;
}

// Where the document's first key begins.
class CFirstKeyObserver final : public IKeyValuesReadObserver
{
public:
    void OnKey(const KeyValues* /*pkv*/, int nOffset) override
    {
        if (m_nFirstKey < 0)
            m_nFirstKey = nOffset;
    }
    void OnConditional(const char* /*pszConditional*/, int /*nOffset*/) override {}
    void OnError(const char* /*pszMessage*/, int /*nOffset*/) override {}
    int m_nFirstKey = -1;
};

// The offset just past the name token at nOffset (quoted with escapes, or bare).
size_t EndOfName(const std::string& strText, size_t iName)
{
    if (iName < strText.size() && strText[iName] == '"')
    {
        size_t i = iName + 1;
        while (i < strText.size() && strText[i] != '"')
            i += strText[i] == '\\' ? 2 : 1;
        return std::min(i + 1, strText.size());
    }
    return std::min(strText.find_first_of(" \t\r\n{\"[", iName), strText.size());
}

// "job" { "app" { "appid" ... "compat_installscript" <the script's own text> } }. The
// keys are written by the writer, so any path reads back exactly; the script keeps its
// text, so its conditionals are decided on Windows, where it runs, not here.
std::string BuildJobText(const std::string& strScriptText, size_t iAfterRootName,
                         const std::string& strScriptFile, const JobOptions_s& options)
{
    std::unique_ptr<KeyValues> pkvJob(new KeyValues("job"));
    KeyValues* pkvGroup = pkvJob->FindKey("app", true);
    pkvGroup->SetKeyInt("appid", (int)options.m_unAppID);
    pkvGroup->SetKeyInt("mode", options.m_nMode);
    pkvGroup->SetKeyString("install_path", options.m_strInstallDir.empty()
                                               ? FolderOf(strScriptFile).c_str()
                                               : AbsolutePath(options.m_strInstallDir).c_str());
    pkvGroup->SetKeyString("language", options.m_strLanguage.c_str());
    pkvGroup->SetKeyString("korvexid", options.m_strAccountID.c_str());
    pkvJob->SetUsesEscapeSequences(true, true);
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    pkvJob->SaveToBuffer(buf);
    std::string strJob((const char*)buf.Base(), (size_t)buf.TellPut());
    // The writer ends the group and the job with a closing line each.
    const size_t iGroupEnd = strJob.rfind('}', strJob.rfind('}') - 1);
    const size_t iLineStart = strJob.rfind('\n', iGroupEnd) + 1;
    return strJob.substr(0, iLineStart) + "\t\t\"compat_installscript\"" +
           strScriptText.substr(iAfterRootName) + "\n" + strJob.substr(iLineStart);
}

} // namespace

int ModeFromName(const std::string& strName)
{
    for (const ModeName_s& mode : k_rgModeNames)
    {
        if (strName == mode.m_pszName)
            return mode.m_nMode;
    }
    return 0;
}

bool BPrepareRunJob(const std::string& strFile, const JobOptions_s& options, RunJob_s* pJob,
                    std::string* pstrProblem)
{
    std::string strText;
    if (!BReadFile(strFile, &strText))
    {
        *pstrProblem = "cannot read " + strFile;
        return false;
    }
    CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    std::unique_ptr<KeyValues> pkvRoot(new KeyValues("document"));
    pkvRoot->SetUsesEscapeSequences(true, false);
    CFirstKeyObserver observer;
    CKeyValuesParser parser;
    parser.SetObserver(&observer);
    if (strText.size() > INT_MAX || !pkvRoot->LoadFromBuffer(strFile.c_str(), buf, &parser) ||
        observer.m_nFirstKey < 0)
    {
        *pstrProblem =
            strFile + " is not valid KeyValues text (installscript check " + strFile + " shows where)";
        return false;
    }
    if (BIsJobDocument(pkvRoot.get()))
    {
        KeyValues* pkvGroup = pkvRoot->GetFirstTrueSubKey();
        pJob->m_unAppID = (uint32)(pkvGroup ? pkvGroup->GetKeyInt("appid", 0) : 0);
        pJob->m_strText = strText;
        return true;
    }
    if (options.m_unAppID == 0)
    {
        *pstrProblem = strFile + " is a bare install script: give its application's --appid";
        return false;
    }
    if (pkvRoot->GetNextKey())
    {
        *pstrProblem = strFile + " holds more than one root key; a bare install script has one";
        return false;
    }
    pJob->m_unAppID = options.m_unAppID;
    pJob->m_strText =
        BuildJobText(strText, EndOfName(strText, (size_t)observer.m_nFirstKey), strFile, options);
    pJob->m_bBuilt = true;
    return true;
}
