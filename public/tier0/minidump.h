#pragma once
// The crash reporter. This program writes no dumps and opens no dialogs: the reporter
// records each call, so that the once-per-site rule of assertions can be observed.

#include "tier0/basetypes.h"

// Records one report. The comment a dump would carry is "Assert( %s ):%s:%d\n";
// bReporterFlag is bit 30 of the assertion's line word.
void WriteAssertMiniDump(const char* pszMessage, const char* pszFile, int nLine, bool bReporterFlag);

uint32 GetAssertMiniDumpCount();
// The comment of the most recent report, "" when none was made; read it while no other
// thread reports.
const char* GetLastAssertMiniDumpComment();
bool GetLastAssertMiniDumpReporterFlag();

// The assertion dialog, asked only when a debugger is attached: true means "break".
// With no window to show it answers break, unless "-nocrashdialog" forbids the dialog;
// "-debugbreak" answers break at once, whatever else is given.
bool BAssertDialogAsksBreak();
