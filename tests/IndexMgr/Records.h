// Short ways to make records, to change an index and to describe it, for tests.

#ifndef LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
#define LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H

#include <algorithm>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/RecDirName.h"
#include "RecordTree/Names.h"
#include "Support/TempDir.h"
#include "localstorage/LocalStorage.h"

const char* const FILE_1 = "20240305080000_20240305090000_1.mp4";
const char* const FILE_2 = "20240305090000_20240305100000_1.mp4";
const char* const FILE_3 = "20240306080000_20240306090000_1.mp4";

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
inline fileTimeInfo Time(const std::string& strTime) {
    indexLevel3Body st;
    ConvertStrRecFileToIndexLevel3Body(strTime + "_" + strTime + "_1.mp4", st);
    return st.stStartTime;
}

/// Path of a recording, or of any file whose name begins with a day.
inline std::string RecPath(const std::string& strRecDir, const std::string& strChannel,
                           const std::string& strFile) {
    return strRecDir + "/RecordFile/" + strFile.substr(0, 8) + "/" + strChannel + "/" + strFile;
}
/// The typed one of a recording.
inline recordPath TypedPath(const std::string& strRecDir, const std::string& strChannel,
                            const std::string& strFile,
                            const std::string& strFolder = RECORD_FOLDER) {
    indexLevel3Body st;
    ConvertStrRecFileToIndexLevel3Body(strFile, st);
    const dateInfo stDate = st.stStartTime.GetDate();
    return CChannelFolder({strRecDir, strFolder, GetDirName(stDate), stDate}, strChannel)
        .Recording(st);
}

/// Everything that an index finds of a Channel(...), or a manager of a channel's name.
using Paths = std::list<std::string>;
Paths FindAll(auto& index, const auto& channel) {
    Paths lsPath;
    index.QueryRecFile(channel, REC_FILE_TYPE_ALL, Time("00000000000000"), Time("99991231235959"),
                       lsPath);
    return lsPath;
}

inline void Change(CIndex& index, const std::string& strChannel, const std::string& strFile,
                   CIndex::IndexType eType) {
    indexLevel3Body st;
    ConvertStrRecFileToIndexLevel3Body(strFile, st);
    index.WriteIndex(Day(strFile.substr(0, 8)), Channel(strChannel), st, eType);
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

/// A record directory with its index; the process goes back to "RecordFile" in the end.
class CRecordDirTest : public testing::Test {
protected:
    ~CRecordDirTest() override {
        m_index.Release();
        g_pRecDirName = RECORD_FOLDER;
    }

    std::string Path(const std::string& strChannel, const std::string& strFile) {
        return RecPath(m_dir.Path(), strChannel, strFile);
    }
    void Put(const std::string& strChannel, const std::string& strFile) {
        PutFile(Path(strChannel, strFile));
    }
    int Open() { return m_index.Initialize(m_dir.Path()); }

    /// Opens, counts and releases the directory's index.
    int Start() {
        CIndexMgr mgr;
        const int nResult = mgr.Initialize({m_dir.Path()});
        m_nFiles = 0;
        for (const char* pChannel : {"cam_1_0", "front_door", "cam_300_7"}) {
            m_nFiles += FindAll(mgr, pChannel).size();
        }
        mgr.Release();
        return nResult;
    }

    /// A recording comes, on disk and in the index, or goes.
    void Record(const std::string& strChannel, const std::string& strFile) {
        Put(strChannel, strFile);
        Change(m_index, strChannel, strFile, CIndex::INDEX_TYPE_ADD);
    }
    void Delete(const std::string& strChannel, const std::string& strFile) {
        std::filesystem::remove(Path(strChannel, strFile));
        Change(m_index, strChannel, strFile, CIndex::INDEX_TYPE_DELETE);
    }

    CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile";
    const std::string m_strMarker = m_strFolder + "/index.dirty";
    CIndex m_index;
    std::size_t m_nFiles = 0;
};

#endif  // LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
