#pragma once
// Wine as `installscript run` uses it: which binary, which prefix, making a prefix, and one
// Windows program started in it, watched and, when asked, ended with everything it
// started. POSIX only.

#include <string>
#include <sys/types.h>
#include <vector>

// --wine when given (it must be there and executable), else "wine" on PATH, else Debian's
// /usr/lib/wine/wine64. False with *pstrProblem when there is none.
bool BFindWine(const std::string& strGiven, std::string* pstrWine, std::string* pstrProblem);
// --prefix when given, else $WINEPREFIX, else ~/.wine, as Wine itself chooses.
std::string ChoosePrefix(const std::string& strGiven);
// A prefix Wine has set up holds its Windows folder.
bool BPrefixExists(const std::string& strPrefix);
// Runs wineboot to make the prefix; its output goes to strOutputFile.
bool BCreatePrefix(const std::string& strWine, const std::string& strPrefix,
                   const std::string& strOutputFile);

// One run of a Windows program. Every process of the run, the ones it starts included,
// carries the run's mark in its environment, so the run can be ended as a whole.
class CWineRun
{
public:
    CWineRun(const std::string& strWine, const std::string& strPrefix, const std::string& strMark);
    ~CWineRun();
    CWineRun(const CWineRun&) = delete;
    CWineRun& operator=(const CWineRun&) = delete;

    // Starts "wine ARGS..." in strFolder, output appended to strOutputFile, in a process
    // group of its own (a terminal's Ctrl-C reaches us, not Wine). False when Wine could
    // not be started.
    bool BStart(const std::vector<std::string>& vecArgs, const std::string& strFolder,
                const std::string& strOutputFile);
    // True once the program has ended; *pnExitCode is its exit code.
    bool BEnded(int* pnExitCode);
    // Ends every process that carries the mark, then reaps the program.
    void EndEverything();

private:
    std::string m_strWine;
    std::string m_strPrefix;
    std::string m_strMark;
    pid_t m_pid = -1;
};

// The environment variable that carries a run's mark.
extern const char k_szRunMarkVariable[];
