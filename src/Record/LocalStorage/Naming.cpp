// Where recordings lie: the names of days, channels and files in both layouts.

#include "LocalStorage/Naming.h"

#include "IndexMgr/RecDirName.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "RecordTree/Names.h"

std::string GetDayName(const tagBlockTime& stTime) {
    return GetDirName(ConvertBlockTimeToFileTime(stTime).GetDate());
}

std::string GetSpanName(const recFileInfo& stRecFileInfo) {
    indexLevel3Body stFile;
    stFile.stStartTime = ConvertBlockTimeToFileTime(stRecFileInfo.stStartTime);
    stFile.stEndTime = ConvertBlockTimeToFileTime(stRecFileInfo.stEndTime);
    stFile.enumRecFileType = ConvertFromRecordTypeToRecFileType(stRecFileInfo.enumRecordType);
    return GetRecFileName(stFile);
}

bool IsPathTooLong(const std::string& strPath) {
    return strPath.size() >= LOCALSTORAGE_PATH_SIZE;
}

bool CLocalStorage::IsClientLayout() const {
    return m_stStoreInfo.enumStorageType == LOCAL_STORAGE_CLIENT;
}

std::string CLocalStorage::GetUniqMAPID(const std::string& strCameraID,
                                        const recFileInfo& stRecFileInfo) const {
    return IsClientLayout() ? strCameraID : strCameraID + "_" + GetSpanName(stRecFileInfo);
}

channelKeyView CLocalStorage::GetChannelKey(const char* pCameraID,
                                            const recFileInfo& stRecFileInfo) const {
    if (IsClientLayout()) return {pCameraID};
    return {pCameraID, ConvertBlockTimeToFileTime(stRecFileInfo.stStartTime).Number(),
            ConvertBlockTimeToFileTime(stRecFileInfo.stEndTime).Number(),
            ConvertFromRecordTypeToRecFileType(stRecFileInfo.enumRecordType)};
}

recordPath CLocalStorage::BuildPath(const std::string& strTree, const std::string& strDay,
                                    const std::string& strCameraID,
                                    const std::string& strFile) const {
    recordPath stPath;
    stPath.strRecDir = m_objDisks.Current();
    stPath.strDir = stPath.strRecDir + strTree + "/" + strDay + "/" + strCameraID + "/";
    stPath.strPath = stPath.strDir + strFile;
    return stPath;
}

recordPath CLocalStorage::BuildSpanPath(const std::string& strCameraID,
                                        const recFileInfo& stRecFileInfo) const {
    return BuildPath(RecDirName(), GetDayName(stRecFileInfo.stStartTime), strCameraID,
                     GetSpanName(stRecFileInfo));
}

recordPath CLocalStorage::BuildSecondPath(const std::string& strCameraID, std::time_t tTime) const {
    tagBlockTime stTime;
    ConvertLocalTimeToBlockTime(tTime, stTime);
    return BuildPath(RecDirName(), GetDayName(stTime), strCameraID,
                     GetSecondName(ConvertBlockTimeToFileTime(stTime), RECORDING_EXTENSION));
}

std::optional<recordPath> CLocalStorage::BuildFreeSecondPath(const std::string& strCameraID,
                                                             int nMaxAhead) const {
    const std::time_t tNow = OSL_Time();
    for (int nAhead = 0; nAhead <= nMaxAhead; ++nAhead) {
        recordPath stPath = BuildSecondPath(strCameraID, tNow + nAhead);
        if (OSL_AccessFile(stPath.strPath.c_str(), 0) != 0) return stPath;
    }
    return std::nullopt;
}
