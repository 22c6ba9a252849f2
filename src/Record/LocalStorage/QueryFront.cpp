// The host's queries.

#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"

bool CLocalStorage::QueryRecFile(recQueryParam& stQueryParam,
                                 CVexList<pathNode>** ppRecFileList) try {
    const std::string strMethod = "[wtb][CLocalStorage::QueryRecFile] ";
    if (!ppRecFileList) return Refuse(strMethod + "NULL == ppRecFileList");
    if (!m_bInit) return Refuse(strMethod + "not initialized");
    const fileTimeInfo stStart = ConvertBlockTimeToFileTime(stQueryParam.stQueryStartTime);
    const fileTimeInfo stEnd = ConvertBlockTimeToFileTime(stQueryParam.stQueryEndTime);
    if (stStart > stEnd) return Refuse(strMethod + "stQueryStartTime > stQueryEndTime");
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
