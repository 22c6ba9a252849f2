// Short ways to make records and to describe an index, for tests.

#ifndef LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
#define LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H

#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/Names.h"

/// "20240305" and "20240305080000".
inline indexLevel1Body Day(const std::string& strDay) {
    indexLevel1Body st;
    ConvertStrDateToIndexLevel1Body(strDay, st);
    return st;
}
inline indexLevel2Body Channel(const std::string& strName) {
    indexLevel2Body st;
    ConvertStrChannelToIndexLevel2Body(strName, st);
    return st;
}
inline indexLevel3Body File(const std::string& strStart, const std::string& strEnd, int nType = 1) {
    indexLevel3Body st;
    ConvertStrRecFileToIndexLevel3Body(
        strStart + "_" + strEnd + "_" + std::to_string(nType) + ".mp4", st);
    return st;
}
inline fileTimeInfo Time(const std::string& strTime) {
    return File(strTime, strTime).stStartTime;
}

/// Path of a recording below a record directory; the day is that of the start.
inline std::string RecPath(const std::string& strRecDir, const std::string& strChannel,
                           const std::string& strFile,
                           const std::string& strFolder = "RecordFile") {
    return strRecDir + "/" + strFolder + "/" + strFile.substr(0, 8) + "/" + strChannel + "/" +
           strFile;
}

/// Everything that a manager finds of a channel.
inline std::vector<std::string> FindAll(CIndexMgr& mgr, const std::string& strChannel) {
    std::list<std::string> lsPath;
    mgr.QueryRecFile(strChannel, REC_FILE_TYPE_ALL, Time("00000000000000"), Time("99991231235959"),
                     lsPath);
    return {lsPath.begin(), lsPath.end()};
}

/// The names below a directory, files and folders, sorted.
inline std::vector<std::string> Tree(const std::string& strDir) {
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(strDir)) {
        vNames.push_back(entry.path().lexically_relative(strDir));
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

#endif  // LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
