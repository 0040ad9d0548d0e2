// installscript: tools for the authors of install scripts, one subcommand a task.

#include <CLI/CLI.hpp>

#include "installscript/command_check.h"
#include "installscript/exitcodes.h"

int main(int argc, char** argv)
{
    CLI::App app("Tools for install scripts and the job files that carry them", "installscript");
    app.require_subcommand(1);
    int nExitCode = k_nExitClean;
    AddCheckCommand(app, &nExitCode);
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
