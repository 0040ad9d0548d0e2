#pragma once
// Making the script's symbolic links. Where the system does not make them (Wine reports
// success and creates nothing), a hard link or a copy gives the same effect; copies are
// recorded so that the next launch, which queues every link again, knows them as its own.

#include "handoffrunner/adminscript.h"

// Logs what was done; true when "from" ends up reaching "to".
bool BMakeLink(const LinkRecord_s& link, uint32 unAppID);
