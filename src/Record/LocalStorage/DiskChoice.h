// What a full disk leads to. Decisions only.

#ifndef LOCALSTORAGE_RECORD_DISKCHOICE_H
#define LOCALSTORAGE_RECORD_DISKCHOICE_H

/// What a disk check finds when the current disk is full.
struct fullDiskState {
    bool bCycWrite = false;      ///< the engine may move to another disk
    bool bFoundFree = false;     ///< and there is one with room
    bool bClientLayout = false;  ///< the host learns of full disks when it opens a recording
    bool bAutoDelete = false;    ///< the oldest day may be overwritten
    bool bCanHelp = true;        ///< deleting can give the current disk room
};

/// What it does about it.
struct fullDiskAction {
    bool bReportSwitch = false;
    bool bReportFull = false;
    bool bDelete = false;
    bool bChooseAgain = false;  ///< after the deletion

    bool operator==(const fullDiskAction&) const = default;
};

fullDiskAction DecideFullDisk(const fullDiskState& stState);

#endif  // LOCALSTORAGE_RECORD_DISKCHOICE_H
