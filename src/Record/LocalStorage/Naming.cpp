// Where recordings lie: the names of days, channels and files in both layouts.

#include <cerrno>

#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
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

CChannelFolder CLocalStorage::GetFolder(const std::string& strTree, const tagBlockTime& stDay,
                                        const std::string& strCameraID) const {
    const dateInfo stDate = ConvertBlockTimeToFileTime(stDay).GetDate();
    return {{m_objDisks.Current(), strTree, GetDirName(stDate), stDate}, strCameraID};
}

recordPath CLocalStorage::BuildSpanPath(const std::string& strCameraID,
                                        const recFileInfo& stRecFileInfo) const {
    return GetFolder(m_pIndexMgr->RecordFolder(), stRecFileInfo.stStartTime, strCameraID)
        .Recording(ConvertRecFileInfoToIndexLevel3Body(stRecFileInfo));
}

recordPath CLocalStorage::BuildSecondPath(const std::string& strCameraID, std::time_t tTime) const {
    tagBlockTime stTime;
    ConvertLocalTimeToBlockTime(tTime, stTime);
    return GetFolder(m_pIndexMgr->RecordFolder(), stTime, strCameraID)
        .File(GetSecondName(ConvertBlockTimeToFileTime(stTime), RECORDING_EXTENSION));
}

std::optional<recordPath> CLocalStorage::BuildFreeSecondPath(const std::string& strCameraID,
                                                             int nMaxAhead) const {
    const std::time_t tNow = OSL_Time();
    for (int nAhead = 0; nAhead <= nMaxAhead; ++nAhead) {
        recordPath stPath = BuildSecondPath(strCameraID, tNow + nAhead);
        if (OSL_AccessFile(stPath.strPath.c_str(), 0) == 0) continue;
        if (OSL_GetSystemLastError() != ENOENT) break;
        return stPath;
    }
    return std::nullopt;
}
