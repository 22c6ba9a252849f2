// What follows from what "record" is told: how each camera is recorded, and how long it is kept.

#ifndef LOCALSTORAGE_TOOL_COMMANDS_RECORDPLAN_H
#define LOCALSTORAGE_TOOL_COMMANDS_RECORDPLAN_H

#include <vector>

#include "commands/RecordOptions.h"
#include "host/CameraPlan.h"
#include "host/Expiry.h"

/// Throws CUsageError where cameras are given wrongly.
std::vector<cameraPlan> PlanCameras(const recordOptions& st);
keepPlan PlanKeeping(const recordOptions& st);

#endif  // LOCALSTORAGE_TOOL_COMMANDS_RECORDPLAN_H
