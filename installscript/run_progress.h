#pragma once
// What a person sees while a run lasts: the evaluator's progress file shown as a bar
// redrawn in place on a terminal, as one plain line per change elsewhere, or not at all.

#include <cstdio>
#include <string>

struct RunProgress_s
{
    int m_nStep = 0; // 0 while no step runs
    int m_nCount = 0;
    std::string m_strDescription;
};

// False while the file is missing or half written.
bool BReadRunProgress(const std::string& strFile, RunProgress_s* pProgress);

enum EProgressStyle
{
    k_EProgressStyleBar,   // a terminal: one line redrawn in place
    k_EProgressStyleLines, // a pipe or file: a line per change, no control characters
    k_EProgressStyleQuiet,
};

class CProgressView
{
public:
    CProgressView(FILE* pOut, EProgressStyle eStyle) : m_pOut(pOut), m_eStyle(eStyle) {}
    // Called every poll; flSeconds is the time since the run started.
    void Show(const RunProgress_s& progress, double flSeconds);
    // Clears the bar before other output.
    void Finish();

private:
    FILE* m_pOut;
    EProgressStyle m_eStyle;
    RunProgress_s m_shown;
    int m_nShownSecond = -1;
    bool m_bBarDrawn = false;
};
