#pragma once
// The hand-off runner: carries out the admin script the evaluator hands to its elevated
// service ("legacycompat\KorvexService.exe /installscript "<admin script>" <app id>").
// Symbolic links first, then the installers; progress and run-once records as the
// evaluator reads them, every line in the evaluator's log.

namespace HandOffRunner
{

// Exit codes: 0 every step succeeded or was skipped, 1 some step failed or the admin
// script could not be read, 2 a command line of any other form (nothing done).
int main(int argc, char** argv);

} // namespace HandOffRunner
