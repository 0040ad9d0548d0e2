#pragma once
// Where `installscript run` finds the Windows programs it needs: the evaluator and the
// hand-off runner it starts as legacycompat\KorvexService.exe.

#include <string>

struct WindowsPrograms_s
{
    std::string m_strEvaluator;
    std::string m_strRunner;
};

// --evaluator and --runner when given; else the installed layout beside this program
// (../lib/installscript/), else a cross build tree next to the native one it runs from.
// The runner is looked for at legacycompat/KorvexService.exe beside the evaluator.
bool BFindWindowsPrograms(const std::string& strEvaluator, const std::string& strRunner,
                          WindowsPrograms_s* pPrograms, std::string* pstrProblem);
