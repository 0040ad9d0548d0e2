#include "handoffrunner/handoffrunner.h"

#include <cerrno>
#include <cstdlib>

#include "common/installscript_log.h"
#include "common/installscript_regkeys.h"
#include "handoffrunner/adminscript.h"
#include "handoffrunner/installers.h"
#include "handoffrunner/links.h"
#include "handoffrunner/processlauncher.h"
#include "tier1/utlstring.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr int k_nExitSuccess = 0;
constexpr int k_nExitFailure = 1;
constexpr int k_nExitUsage = 2;

// Decimal digits only, as the evaluator prints the app id.
bool BParseAppID(const char* pszText, uint32* punAppID)
{
    if (*pszText < '0' || *pszText > '9')
        return false;
    char* pchEnd = nullptr;
    errno = 0;
    const unsigned long long ullAppID = strtoull(pszText, &pchEnd, 10);
    *punAppID = (uint32)ullAppID;
    return *pchEnd == 0 && errno == 0 && ullAppID <= 0xFFFFFFFFull;
}

bool BParseCommandLine(int argc, char** argv, const char** ppszAdminScript, uint32* punAppID)
{
    *punAppID = 0;
    if (argc != 4 || V_stricmp(argv[1], "/installscript") != 0 || !*argv[2])
        return false;
    *ppszAdminScript = argv[2];
    return BParseAppID(argv[3], punAppID);
}

CUtlString JoinArguments(int argc, char** argv)
{
    CUtlString strLine;
    for (int iArg = 1; iArg < argc; ++iArg)
    {
        strLine.Append(iArg > 1 ? " \"" : "\"");
        strLine.Append(argv[iArg]);
        strLine.Append("\"");
    }
    return strLine;
}

} // namespace

int HandOffRunner::main(int argc, char** argv)
{
    const char* pszAdminScript = nullptr;
    uint32 unAppID = 0;
    if (!BParseCommandLine(argc, argv, &pszAdminScript, &unAppID))
    {
        InstallScriptAppLog(unAppID,
                            "KorvexService.exe: expected /installscript \"<admin script>\" <app id>, got %s; "
                            "nothing done",
                            JoinArguments(argc, argv).Get());
        return k_nExitUsage;
    }
    AdminScript_s script;
    if (!BReadAdminScript(pszAdminScript, unAppID, &script))
        return k_nExitFailure;
    InstallScriptAppLog(unAppID, "KorvexService.exe carries out \"%s\": %u links, %u installer steps",
                        pszAdminScript, (unsigned)script.m_vecLinks.size(), script.m_cJobRecords);

    EndInstallersWithRunner();
    bool bAllSucceeded = script.m_cMalformedRecords == 0;
    for (const LinkRecord_s& link : script.m_vecLinks)
        bAllSucceeded &= BMakeLink(link, unAppID);
    bAllSucceeded &= BRunInstallerJobs(script.m_vecJobs, script.m_cJobRecords, unAppID);
    // The next run starts from "no step".
    BDeleteInstallStep(unAppID);
    InstallScriptAppLog(unAppID, "KorvexService.exe done: %s",
                        bAllSucceeded ? "every step succeeded" : "some steps failed (see above)");
    return bAllSucceeded ? k_nExitSuccess : k_nExitFailure;
}
