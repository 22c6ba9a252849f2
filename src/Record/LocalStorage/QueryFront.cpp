// The host's queries.

#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"

bool CLocalStorage::QueryRecFile(recQueryParam& stQueryParam,
                                 CVexList<pathNode>** ppRecFileList) try {
    if (!ppRecFileList) return Refuse("[wtb][CLocalStorage::QueryRecFile] NULL == ppRecFileList");
    if (!m_bInit) return Refuse("[wtb][CLocalStorage::QueryRecFile] not initialized");
    const fileTimeInfo stStart = ConvertBlockTimeToFileTime(stQueryParam.stQueryStartTime);
    const fileTimeInfo stEnd = ConvertBlockTimeToFileTime(stQueryParam.stQueryEndTime);
    if (stStart > stEnd) {
        return Refuse("[wtb][CLocalStorage::QueryRecFile] stQueryStartTime > stQueryEndTime");
    }
    const std::string strCameraID(stQueryParam.szCameraID,
                                  strnlen(stQueryParam.szCameraID, LOCALSTORAGE_CAMERA_ID_SIZE));
    std::list<std::string> lsRecFile;
    const int nFound = m_pIndexMgr->QueryRecFile(
        strCameraID, ConvertFromRecordTypeToRecFileType(stQueryParam.enumRecordType), stStart,
        stEnd, lsRecFile);
    m_lsRecFile.clear();
    ConvertStdListToVexList(lsRecFile, m_lsRecFile);
    *ppRecFileList = &m_lsRecFile;
    return nFound > 0;
} catch (const std::exception&) {
    return OutOfMemory("QueryRecFile");
}
