#include "LocalStorage/DiskChoice.h"

#include <cerrno>

#include "LocalStorage/StorageOptions.h"

namespace {

bool IsWantOfRoom(int nError) {
    return nError == ENOSPC || nError == EDQUOT;
}

bool LacksSpace(const diskLook& stLook) {
    return stLook.nUsableSpace.value_or(0) <=
           static_cast<std::uint64_t>(GetStorageOption(STORAGE_OPTION_FULL_SPACE));
}

}  // namespace

bool IsDiskError(int nError) {
    return IsWantOfRoom(nError) || nError == EROFS || nError == EIO;
}

bool IsDiskFull(const diskLook& stLook) {
    return stLook.bSilent || !stLook.bPresent || stLook.nFailure != 0 || LacksSpace(stLook);
}

bool IsTrialDue(const diskLook& stLook) {
    return stLook.nFailure != 0 && !(IsWantOfRoom(stLook.nFailure) && LacksSpace(stLook));
}

bool CanDeletingHelp(const diskLook& stLook) {
    const bool bTakesNone = stLook.nFailure != 0 && !IsWantOfRoom(stLook.nFailure);
    return !stLook.bSilent && stLook.bPresent && stLook.nUsableSpace && !bTakesNone;
}

fullDiskAction DecideFullDisk(const fullDiskState& stState) {
    fullDiskAction stAction;
    stAction.bReportSwitch = stState.bMoved;
    if (stState.bMoved) return stAction;
    stAction.bReportFull = !stState.bClientLayout;
    stAction.bDelete = stState.bAutoDelete;
    return stAction;
}
