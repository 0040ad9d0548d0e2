#pragma once
// Shared by the checker tests: checking a script given as text and asking about the
// findings, with failures reported at the test's own line.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "installscript/check_file.h"

// The findings of strText with every check on (or all but those in vecOff).
std::vector<CheckFinding_s> CheckScriptText(const std::string& strText,
                                            const std::vector<ECheck>& vecOff = {});

// Success when a finding of eCheck stands at nLine:nColumn (or anywhere, for 0:0).
::testing::AssertionResult HasFinding(const std::vector<CheckFinding_s>& vecFindings, ECheck eCheck,
                                      int nLine = 0, int nColumn = 0);
// Success when no finding of eCheck is there.
::testing::AssertionResult LacksFinding(const std::vector<CheckFinding_s>& vecFindings, ECheck eCheck);
// The findings as "LINE:COL check path: message" lines, for failure messages.
std::string DescribeFindings(const std::vector<CheckFinding_s>& vecFindings);
