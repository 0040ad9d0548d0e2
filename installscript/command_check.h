#pragma once
// `installscript check`: its options and its run.

namespace CLI
{
class App;
}

// Adds the subcommand; when the command line selects it, its run leaves the exit code
// in *pnExitCode.
void AddCheckCommand(CLI::App& app, int* pnExitCode);
