#pragma once
// The exit codes of every subcommand.

constexpr int k_nExitClean = 0;      // nothing to report (or only warnings and notes)
constexpr int k_nExitFindings = 1;   // at least one error (warnings too, with --werror)
constexpr int k_nExitUnreadable = 2; // a file could not be opened or read, or the command line is wrong
constexpr int k_nExitWine = 3;       // run: Wine cannot be started
