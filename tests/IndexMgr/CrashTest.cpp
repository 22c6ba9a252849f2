// The process stops at every single system call of a flush and of a repair; nothing may be missing
// after the next start.

#include <cerrno>

#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"
#include "localstorage/LocalStorage.h"

namespace fs = std::filesystem;

namespace {

const char* const CHANNELS[] = {"cam_1_0", "front_door"};

std::string FileName(int nDay, int nHour) {
    char szName[128];
    std::snprintf(szName, sizeof(szName), "202403%02d%02d0000_202403%02d%02d3000_1.mp4", nDay,
                  nHour, nDay, nHour);
    return szName;
}

// Lets the first `nCalls` changes of the disk happen and fails every later one, as if the process
// had been killed there.
class CKill {
public:
    explicit CKill(int nCalls) : m_nLeft(nCalls) {
        for (const Op eOp : {Op::Open, Op::Write, Op::FileMode, Op::Unlink, Op::Rename,
                             Op::RemoveDir, Op::MakeDir, Op::Sync}) {
            m_faults.Fail(
                eOp, [this](const std::string&) { return m_nLeft-- <= 0; }, EIO);
        }
    }
    bool Happened() const { return m_nLeft < 0; }

private:
    int m_nLeft;
    CFaultInjection m_faults;
};

class Crash : public testing::Test {
protected:
    // A flushed index of two days; then changes on an old day, a new day and a day that goes.
    void Prepare(const std::string& strDir, CIndex& index) {
        ASSERT_EQ(index.Initialize(strDir), 0);
        for (const char* pChannel : CHANNELS) {
            for (const int nDay : {4, 5}) Record(strDir, index, pChannel, FileName(nDay, 8));
        }
        index.WriteIndexToFile();
        for (const char* pChannel : CHANNELS) {
            Record(strDir, index, pChannel, FileName(5, 9));
            Record(strDir, index, pChannel, FileName(6, 8));
            Delete(strDir, index, pChannel, FileName(4, 8));
        }
        fs::remove_all(strDir + "/RecordFile/20240304");
    }

    void ExpectWhole(const std::string& strDir, int nCall) {
        for (int nStart = 0; nStart < 2; ++nStart) {
            CIndex index;
            TakeLog();
            ASSERT_EQ(index.Initialize(strDir), 0);
            const bool bQuiet = TakeLog().empty();
            EXPECT_TRUE(bQuiet || nStart == 0) << "what the first start left is true";
            for (const char* pChannel : CHANNELS) {
                std::list<std::string> lsPath;
                index.QueryRecFile(Channel(pChannel), REC_FILE_TYPE_ALL, Time("20240301000000"),
                                   Time("20240331000000"), lsPath);
                EXPECT_EQ(lsPath,
                          (std::list<std::string>{RecPath(strDir, pChannel, FileName(5, 8)),
                                                  RecPath(strDir, pChannel, FileName(5, 9)),
                                                  RecPath(strDir, pChannel, FileName(6, 8))}))
                    << "killed at call " << nCall << ", start " << nStart;
            }
            index.Release();
            for (const std::string& strName : Tree(strDir)) {
                EXPECT_EQ(strName.find(".new"), std::string::npos) << strName;
                EXPECT_EQ(strName.find("index.dirty"), std::string::npos) << strName;
            }
        }
    }

    static void Record(const std::string& strDir, CIndex& index, const char* pChannel,
                       const std::string& strFile) {
        PutFile(RecPath(strDir, pChannel, strFile));
        Change(index, pChannel, strFile, CIndex::INDEX_TYPE_ADD);
    }
    static void Delete(const std::string& strDir, CIndex& index, const char* pChannel,
                       const std::string& strFile) {
        fs::remove(RecPath(strDir, pChannel, strFile));
        Change(index, pChannel, strFile, CIndex::INDEX_TYPE_DELETE);
    }
    static void Change(CIndex& index, const char* pChannel, const std::string& strFile,
                       CIndex::IndexType eType) {
        indexLevel3Body st;
        ConvertStrRecFileToIndexLevel3Body(strFile, st);
        index.WriteIndex(Day(strFile.substr(0, 8)), Channel(pChannel), st, eType);
    }
};

}  // namespace

TEST_F(Crash, AtEveryCallOfAFlush) {
    bool bKilled = true;
    int nCall = 0;
    for (; bKilled; ++nCall) {
        CTempDir dir;
        {
            CIndex index;
            Prepare(dir.Path(), index);
            CKill kill(nCall);
            index.WriteIndexToFile();
            bKilled = kill.Happened();
            index.Abandon();
        }
        ExpectWhole(dir.Path(), nCall);
    }
    EXPECT_GT(nCall, 25) << "files written, moded, synced, renamed, and the marker";
}

TEST_F(Crash, AtEveryCallOfARepair) {
    bool bKilled = true;
    int nCall = 0;
    for (; bKilled; ++nCall) {
        CTempDir dir;
        {
            CIndex index;
            Prepare(dir.Path(), index);
            index.Abandon();  // the marker stands
        }
        PutFile(dir / "RecordFile/20240305/cam_1_0/foreign");
        PutFile(dir / "RecordFile/foreign/x/y");
        {
            CIndex index;
            CKill kill(nCall);
            index.Initialize(dir.Path());
            bKilled = kill.Happened();
            index.Abandon();
        }
        g_pRecDirName = RECORD_FOLDER;  // a killed process takes its switch with it
        ExpectWhole(dir.Path(), nCall);
    }
    EXPECT_GT(nCall, 25);
}

// The file is on the disk, its entry not yet in the index, and a flush ends in between.
TEST_F(Crash, BetweenAFileAndItsEntry) {
    CTempDir dir;
    const std::string strFile = FileName(5, 9);
    {
        CIndex index;
        ASSERT_EQ(index.Initialize(dir.Path()), 0);
        Record(dir.Path(), index, CHANNELS[0], FileName(5, 8));
        index.BeginChange();
        PutFile(RecPath(dir.Path(), CHANNELS[0], strFile));
        index.WriteIndexToFile();
        index.Abandon();
    }
    CIndex index;
    ASSERT_EQ(index.Initialize(dir.Path()), 0);
    EXPECT_EQ(index.CountFiles(), 2u);
    index.Release();
}
