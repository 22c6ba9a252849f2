#include "LocalStorage/Conversion.h"

#include <algorithm>
#include <cstring>

#include "Osl/Osl.h"

void ConvertLocalTimeToBlockTime(std::time_t t, tagBlockTime& stTime) {
    std::tm tmLocal{};
    if (!OSL_LocalTime(t, tmLocal)) return;
    stTime.wYear = static_cast<std::uint16_t>(tmLocal.tm_year + 1900);
    stTime.byMonth = static_cast<std::uint8_t>(tmLocal.tm_mon + 1);
    stTime.byDay = static_cast<std::uint8_t>(tmLocal.tm_mday);
    stTime.byHour = static_cast<std::uint8_t>(tmLocal.tm_hour);
    stTime.byMinute = static_cast<std::uint8_t>(tmLocal.tm_min);
    stTime.bySecond = static_cast<std::uint8_t>(tmLocal.tm_sec);
}

RecFileType ConvertFromRecordTypeToRecFileType(RecordType enumRecordType) {
    return static_cast<RecFileType>(enumRecordType <= RECORD_TYPE_8 ? enumRecordType
                                                                    : RECORD_TYPE_ALL);
}

indexLevel3Body ConvertRecFileInfoToIndexLevel3Body(const recFileInfo& stRecFileInfo) {
    indexLevel3Body stFile;
    stFile.stStartTime = ConvertBlockTimeToFileTime(stRecFileInfo.stStartTime);
    stFile.stEndTime = ConvertBlockTimeToFileTime(stRecFileInfo.stEndTime);
    stFile.enumRecFileType = ConvertFromRecordTypeToRecFileType(stRecFileInfo.enumRecordType);
    return stFile;
}

CIndexMgr::StorageType ConvertLocalStorageTypeToStorageType(LocalStorageType enumStorageType) {
    return enumStorageType == LOCAL_STORAGE_CLIENT ? CIndexMgr::STORAGE_TYPE_KESTREL
                                                   : CIndexMgr::STORAGE_TYPE_RECORD;
}

void ConvertVexListToStdList(const CVexList<pathNode>& src, std::list<std::string>& dst) {
    for (const pathNode& node : src) {
        dst.emplace_back(node.szPath, strnlen(node.szPath, LOCALSTORAGE_PATH_SIZE));
    }
}

void ConvertStdListToVexList(const std::list<std::string>& src, CVexList<pathNode>& dst) {
    for (const std::string& strPath : src) {
        if (IsPathTooLong(strPath)) continue;
        pathNode node;
        CopyText(node.szPath, sizeof(node.szPath), strPath);
        dst.push_back(node);
    }
}

void CopyText(char* pField, std::size_t nSize, const std::string& strText) {
    const std::size_t nLength = std::min(strText.size(), nSize - 1);
    std::memcpy(pField, strText.data(), nLength);
    pField[nLength] = '\0';
}
