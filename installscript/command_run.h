#pragma once
// `installscript run`: applies a job file or a bare install script to a Wine prefix with
// the evaluator and its hand-off runner, showing the progress. POSIX only.

namespace CLI
{
class App;
}

// Adds the subcommand; when the command line selects it, its run leaves the exit code
// in *pnExitCode.
void AddRunCommand(CLI::App& app, int* pnExitCode);
