#pragma once
// What the hand-off runner's tests share: the runner and an example installer put into a
// scratch directory, and the lines the installers noted.

#include <string>
#include <vector>

#include "evaluatortestsupport.h"

// The real runner as dir\legacycompat\KorvexService.exe, and the example installer as
// dir\game\redist\setup.exe.
void InstallRunnerAndInstaller(const CScratchDir& dir);

// The installer's arguments that make it note its run as strName in dir\installers.log.
std::string InstallerArgs(const CScratchDir& dir, const std::string& strName,
                          const std::string& strMore = "");

// Text as a quoted KeyValues value with escapes on reads it back: backslashes and quotes
// escaped.
std::string Escaped(const std::string& strText);

// The lines the installers noted, each cut to its first word (the name) unless bWhole.
std::vector<std::string> InstallerRuns(const CScratchDir& dir, bool bWhole = false);

// The lines of the evaluator's log that contain strText.
std::vector<std::string> LogLinesWith(const CScratchDir& dir, const std::string& strText);
