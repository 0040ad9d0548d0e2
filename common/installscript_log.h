#pragma once
// The install script log: "installscriptevalutor_log.txt" (spelled so) in the current
// directory, opened for appending on every message so that the evaluator and the programs
// it hands work to can share it. A message that cannot be written is dropped.

#include <cstdarg>

#include "tier0/basetypes.h"

void InstallScriptLog(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
// The message after "[AppID <app id>] ", the prefix of every line about one application.
void InstallScriptAppLog(uint32 unAppID, const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
void InstallScriptAppLogV(uint32 unAppID, const char* pszFormat, va_list args);
