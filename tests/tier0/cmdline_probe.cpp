// A child program for the command-line tests: prints, one "key<TAB>value" line each,
// what the library answers about the arguments it was started with.

#include <cstdio>

#include "tier0/commandline.h"
#include "tier0/dbg.h"

namespace
{

const char* const k_rgpszQueriedParams[] = {"-noassert", "-chromeos", "-name="};

int s_nAssertsSeen = 0;

SpewRetval_t CountAsserts(SpewType_t eType, const char*)
{
    s_nAssertsSeen += (eType == SPEW_ASSERT);
    return SPEW_CONTINUE;
}

} // namespace

int main()
{
    // A fatal assertion ends the process without flushing buffered output.
    setvbuf(stdout, nullptr, _IONBF, 0);

    int nArgs = 0;
    char** ppszArgv = GetUTF8ArgcArgv(&nArgs);
    printf("argc\t%d\n", nArgs);
    for (int iArg = 1; iArg < nArgs; ++iArg)
        printf("arg%d\t%s\n", iArg, ppszArgv[iArg]);
    for (const char* pszParam : k_rgpszQueriedParams)
        printf("has:%s\t%d\n", pszParam, HasCommandLineParam(pszParam));
    printf("chromeos\t%d\n", IsChromeOSCommandLine());

    if (HasCommandLineParam("-probe-fatal"))
        AssertMsg(__FILE__, __LINE__ | k_unAssertFatal, "probe fatal");

    SpewOutputFunc(CountAsserts);
    AssertMsg(__FILE__, __LINE__, "probe");
    printf("assert_reported\t%d\n", s_nAssertsSeen);
    return 0;
}
