#pragma once
// The evaluator's main. It lives in a namespace: with MinGW-w64 the C runtime calls a
// global main, and the runtime library's own global main is the one that calls WinMain.

namespace InstallScriptEvaluator
{

// argv[1] is a job file, or "--get-current-step" followed by an app id. Returns the
// process exit code: 0 success, 1 failure.
int main(int argc, char** argv);

} // namespace InstallScriptEvaluator
