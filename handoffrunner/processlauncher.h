#pragma once
// Starting one installer the way the shell would start it on Windows, hidden, with extra
// environment variables, and waiting for it with a time limit that ends it together with
// every process it started.

#include <vector>

#include "handoffrunner/adminscript.h"

struct ProcessOutcome_s
{
    bool m_bStarted = false;
    bool m_bTimedOut = false;
    uint32 m_unExitCode = 0;
    uint32 m_unError = 0; // the system error when it could not be started
};

// Puts the runner into a job that ends every process it starts when the runner ends,
// killed or not, even one created a moment before and not yet running.
void EndInstallersWithRunner();

// unTimeoutSeconds 0 waits for ever.
ProcessOutcome_s RunInstallerProcess(const InstallerJob_s& job, uint32 unTimeoutSeconds);
