// Short ways to make records, to change an index and to describe it, for tests.

#ifndef LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
#define LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H

#include "IndexMgr/Index.h"
#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/RecDirName.h"
#include "RecordTree/Names.h"
#include "Support/FaultInjection.h"
#include "Support/Test.h"
#include "localstorage/LocalStorage.h"

const char* const FILE_1 = "20240305080000_20240305090000_1.mp4";
const char* const FILE_2 = "20240305090000_20240305100000_1.mp4";
const char* const FILE_3 = "20240306080000_20240306090000_1.mp4";

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
inline indexLevel3Body File(const std::string& strName) {
    indexLevel3Body st;
    ConvertStrRecFileToIndexLevel3Body(strName, st);
    return st;
}

/// Path of a recording, or of any file whose name begins with a day; and the typed one.
inline std::string RecPath(const std::string& strRecDir, const std::string& strChannel,
                           const std::string& strFile, const char* pFolder = RECORD_FOLDER) {
    return strRecDir + "/" + pFolder + "/" + strFile.substr(0, 8) + "/" + strChannel + "/" +
           strFile;
}
inline recordPath TypedPath(const std::string& strRecDir, const std::string& strChannel,
                            const std::string& strFile, const char* pFolder = RECORD_FOLDER) {
    const dateInfo stDate = File(strFile).stStartTime.GetDate();
    return CChannelFolder({strRecDir, pFolder, GetDirName(stDate), stDate}, strChannel)
        .Recording(File(strFile));
}

/// Everything that an index finds of a Channel(...), or a manager of a channel's name.
using Paths = std::list<std::string>;
Paths FindAll(auto& index, const auto& channel) {
    Paths lsPath;
    const fileTimeInfo stFirst = {}, stLast = {9999, 12, 31, 23, 59, 59, 0};
    index.QueryRecFile(channel, REC_FILE_TYPE_ALL, stFirst, stLast, lsPath);
    return lsPath;
}

inline void Change(CIndex& index, const std::string& strChannel, const std::string& strFile,
                   CIndex::IndexType eType) {
    index.WriteIndex(Day(strFile.substr(0, 8)), Channel(strChannel), File(strFile), eType);
}

/// A record directory with its index, and directories below it with a manager; the process goes
/// back to "RecordFile" in the end.
class CRecordDirTest : public testing::Test {
protected:
    CRecordDirTest() { m_faults.SkipSleeps(); }
    ~CRecordDirTest() override {
        m_index.Release();
        m_mgr.Release();
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
        fs::remove(Path(strChannel, strFile));
        Change(m_index, strChannel, strFile, CIndex::INDEX_TYPE_DELETE);
    }
    /// One of cam_1_0 comes, through a manager.
    static recordPath RecordBy(CIndexMgr& mgr, const std::string& strRecDir, const char* pFile) {
        const recordPath stPath = TypedPath(strRecDir, "cam_1_0", pFile, mgr.RecordFolder());
        PutFile(stPath.strPath);
        mgr.WriteIndex(stPath, CIndexMgr::INDEX_TYPE_ADD);
        return stPath;
    }

    CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile";
    const std::string m_strMarker = m_strFolder + "/index.dirty";
    CFaultInjection m_faults;
    CIndex m_index;
    CIndexMgr m_mgr;
    std::size_t m_nFiles = 0;
};

#endif  // LOCALSTORAGE_TESTS_INDEXMGR_RECORDS_H
