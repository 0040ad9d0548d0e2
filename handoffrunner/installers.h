#pragma once
// Running the installer jobs: in "Sequence" order, grouped into the units of their script
// entries, skipping units whose run-once record holds, publishing each step as the
// progress records and recording each unit that fully succeeded.

#include "handoffrunner/adminscript.h"

// Seconds a job may run: "INSTALLSCRIPT_STEP_TIMEOUT" (0 = no limit), 30 minutes by default.
uint32 GetStepTimeoutSeconds();

// True when every unit succeeded or was skipped.
bool BRunInstallerJobs(const std::vector<InstallerJob_s>& vecJobs, uint32 cSteps, uint32 unAppID);
