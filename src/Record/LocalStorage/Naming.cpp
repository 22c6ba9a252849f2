// Where recordings lie: the names of days, channels and files in both layouts.

#include <cerrno>

#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "Log/LogError.h"
#include "RecordTree/Names.h"

bool CLocalStorage::IsClientLayout() const {
    return m_stStoreInfo.enumStorageType == LOCAL_STORAGE_CLIENT;
}

std::string CLocalStorage::GetUniqMAPID(const std::string& strCameraID,
                                        const recFileInfo& stRecFileInfo) const {
    return IsClientLayout()
               ? strCameraID
               : strCameraID + "_" +
                     GetRecFileName(ConvertRecFileInfoToIndexLevel3Body(stRecFileInfo));
}

channelKeyView CLocalStorage::GetChannelKey(const char* pCameraID,
                                            const recFileInfo& stRecFileInfo) const {
    if (IsClientLayout()) return {pCameraID};
    return {pCameraID, ConvertBlockTimeToFileTime(stRecFileInfo.stStartTime).Number(),
            ConvertBlockTimeToFileTime(stRecFileInfo.stEndTime).Number(),
            ConvertFromRecordTypeToRecFileType(stRecFileInfo.enumRecordType)};
}

CChannelFolder CLocalStorage::GetFolder(const std::string& strRecDir, const std::string& strTree,
                                        const tagBlockTime& stDay, const std::string& strCameraID) {
    const dateInfo stDate = ConvertBlockTimeToFileTime(stDay).GetDate();
    return {{strRecDir, strTree, GetDirName(stDate), stDate}, strCameraID};
}

recordPath CLocalStorage::BuildSpanPath(const std::string& strRecDir,
                                        const std::string& strCameraID,
                                        const recFileInfo& stRecFileInfo) const {
    return GetFolder(strRecDir, m_pIndexMgr->RecordFolder(), stRecFileInfo.stStartTime, strCameraID)
        .Recording(ConvertRecFileInfoToIndexLevel3Body(stRecFileInfo));
}

namespace {

// In the folder that `getFolder` makes of a time.
template <typename GetFolder>
recordPath PathOfSecond(std::time_t tTime, GetFolder getFolder) {
    tagBlockTime stTime;
    ConvertLocalTimeToBlockTime(tTime, stTime);
    return getFolder(stTime).File(
        GetSecondName(ConvertBlockTimeToFileTime(stTime), RECORDING_EXTENSION));
}

}  // namespace

recordPath CLocalStorage::BuildSecondPath(const std::string& strRecDir,
                                          const std::string& strCameraID) const {
    return PathOfSecond(OSL_Time(), [&](const tagBlockTime& stDay) {
        return GetFolder(strRecDir, m_pIndexMgr->RecordFolder(), stDay, strCameraID);
    });
}

std::future<std::optional<recordPath>> CLocalStorage::FindFreeSecond(const std::string& strRecDir,
                                                                     const std::string& strCameraID,
                                                                     int nMaxAhead) const {
    const auto getFolder =
        [=, strTree = std::string(m_pIndexMgr->RecordFolder())](const tagBlockTime& stDay) {
            return GetFolder(strRecDir, strTree, stDay, strCameraID);
        };
    return m_pIndexMgr->Disk(strRecDir)->Calls().Post(
        DiskLane::Use, [=, tNow = OSL_Time()]() -> std::optional<recordPath> {
            for (int nAhead = 0; nAhead <= nMaxAhead; ++nAhead) {
                recordPath stPath = PathOfSecond(tNow + nAhead, getFolder);
                if (OSL_AccessFile(stPath.strPath.c_str(), 0) == 0) continue;
                const int nError = OSL_GetSystemLastError();
                if (nError == ENOENT) return stPath;
                LogError("CLocalStorage::FindFreeSecond", "cannot tell whether the name is free",
                         stPath.strPath, nError);
                break;
            }
            return std::nullopt;
        });
}
