#include "RecordTree/IndexRecords.h"

#include <cstdio>
#include <cstring>

#include "RecordTree/Names.h"

std::string dateInfo::GetDirName() const {
    char szName[16];
    std::snprintf(szName, sizeof(szName), "%04d%02d%02d", wYear, byMonth, byDay);
    return szName;
}

std::string fileTimeInfo::GetString() const {
    char szText[24];
    std::snprintf(szText, sizeof(szText), "%04d%02d%02d%02d%02d%02d", wYear, byMonth, byDay, byHour,
                  byMinute, bySecond);
    return szText;
}

std::string indexLevel2Body::GetDirName() const {
    std::string strName(szCameraID, strnlen(szCameraID, sizeof(szCameraID)));
    if (!IsBare()) {
        strName += '_';
        strName += std::to_string(wDirNum1);
        strName += '_';
        strName += std::to_string(byDirNum2);
    }
    return strName;
}

std::string indexLevel3Body::GetRecFileName() const {
    char szName[REC_FILE_NAME_BUFFER];
    return std::string(szName, FormatRecFileName(*this, szName));
}
