#pragma once
// Starts a program that sits beside the running test program and collects its output.

#include <string>
#include <vector>

struct ChildRun_s
{
    bool m_bStarted = false;
    int m_nExitCode = -1;
    std::string m_strOutput; // standard output and standard error, interleaved
};

// pszName has no ".exe"; vecArgs are UTF-8 and follow the program name.
ChildRun_s RunSiblingProgram(const char* pszName, const std::vector<std::string>& vecArgs);
