// The process stops at every single system call of a flush and of a repair; nothing may be missing
// after the next start.

#include <cerrno>
#include <cstdlib>

#include "IndexMgr/Records.h"

namespace {

const char* const CHANNELS[] = {"cam_1_0", "front_door"};
const char* const GOES = "20240304080000_20240304090000_1.mp4";

enum class Work { Flush, RepairWithMarker, RepairWithoutIndex, MoveFromBackup };

class Crash : public CRecordDirTest, public testing::WithParamInterface<Work> {
protected:
    // Hundreds of flushes: they go to memory where the system has a directory for that.
    static void SetUpTestSuite() {
        if (fs::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 0);
    }

    // False when the run was over before its n-th call.
    bool KilledIn(Work eWork, int nCall) {
        Prepare();
        if (eWork != Work::Flush) {
            m_index.Abandon();  // the marker stands
            Put("cam_1_0", "20240305foreign");
            PutFile(m_strFolder + "/foreign/x/y");
        }
        if (eWork == Work::RepairWithoutIndex) {
            fs::remove(m_strMarker);
            fs::remove(m_strFolder + "/index01.bin");
        }
        if (eWork == Work::MoveFromBackup) {
            EXPECT_EQ(Start(), 0);
            for (const char* pChannel : CHANNELS) Divide(pChannel);
        }
        int nLeft = nCall;
        m_faults.KillAfter(Any(), nLeft);
        m_faults.ShortWrite(Ends(".bin"), 20);  // so that it dies within an index file, too
        if (eWork == Work::Flush) {
            m_index.WriteIndexToFile();
        } else {
            m_mgr.Initialize({m_dir.Path()});
        }
        m_index.Abandon();
        m_mgr.Release();
        m_faults.ClearRules();
        g_pRecDirName = RECORD_FOLDER;  // a killed process takes its switch with it
        return nLeft < 0;
    }

    void ExpectWhole() {
        for (const bool bFirst : {true, false}) {
            const auto writes = m_faults.Watch(Op::Write, Ends(".bin"));
            ASSERT_EQ(m_mgr.Initialize({m_dir.Path()}), 0);
            EXPECT_TRUE(bFirst || writes.Seen() == 0) << "what the first start left is true";
            for (const char* pChannel : CHANNELS) {
                EXPECT_EQ(FindAll(m_mgr, pChannel),
                          (Paths{Path(pChannel, FILE_1), Path(pChannel, FILE_2),
                                 Path(pChannel, FILE_3)}));
            }
            m_mgr.Release();
            EXPECT_EQ(Tree(m_dir.Path()).size(), 21u) << "no left-overs, no marker";
        }
    }

    // A flushed index of two days; then changes on an old day, a new day and a day that goes.
    void Prepare() {
        for (const auto& entry : fs::directory_iterator(m_dir.Path())) fs::remove_all(entry);
        ASSERT_EQ(Open(), 0);
        for (const char* pChannel : CHANNELS) {
            for (const char* pFile : {GOES, FILE_1}) Record(pChannel, pFile);
        }
        m_index.WriteIndexToFile();
        for (const char* pChannel : CHANNELS) {
            for (const char* pFile : {FILE_2, FILE_3}) Record(pChannel, pFile);
            Delete(pChannel, GOES);
        }
        fs::remove_all(m_strFolder + "/20240304");
    }

    // A run of "BackupFile" left one of a channel's recordings there.
    void Divide(const std::string& strChannel) {
        const std::string strBackup = RecPath(m_dir.Path(), strChannel, FILE_2, BACKUP_FOLDER);
        PutFile(strBackup);
        fs::rename(Path(strChannel, FILE_2), strBackup);
        PutFile(m_dir / "BackupFile/index01.bin", "old");
        CIndex index;
        ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
        Change(index, strChannel, FILE_2, CIndex::INDEX_TYPE_DELETE);
        index.Release();
    }
};

}  // namespace

TEST_P(Crash, LosesNothingAtAnyCall) {
    bool bKilled = true;
    int nCall = 0;
    for (; bKilled; ++nCall) {
        SCOPED_TRACE("killed at call " + std::to_string(nCall));
        bKilled = KilledIn(GetParam(), nCall);
        ExpectWhole();
    }
    EXPECT_GT(nCall, 25) << "files written, moded, synced, renamed";
}

INSTANTIATE_TEST_SUITE_P(All, Crash,
                         testing::Values(Work::Flush, Work::RepairWithMarker,
                                         Work::RepairWithoutIndex, Work::MoveFromBackup));
