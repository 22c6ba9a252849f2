// What goes with the last recording of a folder.

#ifndef LOCALSTORAGE_RECORDTREE_TIDYING_H
#define LOCALSTORAGE_RECORDTREE_TIDYING_H

#include <string>

#include "RecordTree/RepairPlan.h"

/// Removes a day's or channel's folder that holds nothing but files of the index, with them. One
/// that holds anything else, or cannot be read to its end, stays as it is. True when it is gone.
bool RemoveIfIndexOnly(const std::string& strFolder, TreeLevel eLevel);

#endif  // LOCALSTORAGE_RECORDTREE_TIDYING_H
