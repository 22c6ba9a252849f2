// What follows from the looks at disks. Decisions only, without I/O.

#ifndef LOCALSTORAGE_RECORD_DISKCHOICE_H
#define LOCALSTORAGE_RECORD_DISKCHOICE_H

#include "LocalStorage/DiskLook.h"

/// Whether a failed write says that the disk takes no more, whatever its free space.
bool IsDiskError(int nError);

/// Whether a disk takes no recording.
bool IsDiskFull(const diskLook& stLook);

/// Whether a disk that failed is to be tried; not, while it lacks room as it did then.
bool IsTrialDue(const diskLook& stLook);

/// Whether a full disk may take recordings again once some are deleted from it: one that is gone,
/// read-only or dying does not.
bool CanDeletingHelp(const diskLook& stLook);

/// What a disk check finds when the current disk is full.
struct fullDiskState {
    bool bMoved = false;         ///< there was another one with room
    bool bClientLayout = false;  ///< the host learns of full disks when it opens a recording
    bool bAutoDelete = false;    ///< the oldest day may be overwritten
};

/// What it does about it.
struct fullDiskAction {
    bool bReportSwitch = false;
    bool bReportFull = false;
    bool bDelete = false;

    bool operator==(const fullDiskAction&) const = default;
};

fullDiskAction DecideFullDisk(const fullDiskState& stState);

#endif  // LOCALSTORAGE_RECORD_DISKCHOICE_H
