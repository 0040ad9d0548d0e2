#pragma once
// The evaluator's log: "installscriptevalutor_log.txt" (spelled so) in the current
// directory, opened for appending on every message so that several evaluators can share
// it. A message that cannot be written is dropped.

void InstallScriptLog(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
