// installscript: tools for the authors of install scripts, one subcommand a task.

#include <CLI/CLI.hpp>

#include "installscript/command_check.h"
#ifndef _WIN32
#include "installscript/command_run.h"
#endif
#include "installscript/exitcodes.h"
#include "installscript_version.h"

int main(int argc, char** argv)
{
    CLI::App app("Tools for install scripts and the job files that carry them", "installscript");
    app.require_subcommand(1);
    int nExitCode = k_nExitClean;
    app.set_version_flag("--version", "installscript " ISE_VERSION_TEXT);
    AddCheckCommand(app, &nExitCode);
#ifndef _WIN32
    // Running needs Wine, so it is the host's tool, not the Windows build's.
    AddRunCommand(app, &nExitCode);
#endif
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& e)
    {
        // --help is a "parse error" that exits with 0.
        return app.exit(e) == 0 ? k_nExitClean : k_nExitUnreadable;
    }
    return nExitCode;
}
