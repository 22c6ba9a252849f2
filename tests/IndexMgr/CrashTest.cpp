// The process stops at every single system call of a flush and of a repair; nothing may be missing
// after the next start.

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

const char* const CHANNELS[] = {"cam_1_0", "front_door"};
const char* const GOES = "20240304080000_20240304090000_1.mp4";

// Lets the first `nCalls` changes of the disk happen and fails every later one, as if the process
// had been killed there. Index files take many writes, so it dies within one, too.
class CKill {
public:
    explicit CKill(int nCalls) : m_nLeft(nCalls) {
        for (const Op eOp : {Op::Open, Op::Write, Op::FileMode, Op::Unlink, Op::Rename,
                             Op::RemoveDir, Op::MakeDir, Op::Sync}) {
            m_faults.Fail(
                eOp, [this](const std::string&) { return m_nLeft-- <= 0; }, EIO);
        }
        m_faults.ShortWrite(Ends(".bin"), 20);
    }
    bool Happened() const { return m_nLeft < 0; }

private:
    int m_nLeft;
    CFaultInjection m_faults;
};

enum class Work { Flush, RepairWithMarker, RepairWithoutIndex };

class CCrash : public CRecordDirTest {
public:
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
        CIndex repaired;
        CKill kill(nCall);
        if (eWork == Work::Flush) {
            m_index.WriteIndexToFile();
        } else {
            repaired.Initialize(m_dir.Path());
        }
        m_index.Abandon();
        repaired.Abandon();
        g_pRecDirName = RECORD_FOLDER;  // a killed process takes its switch with it
        return kill.Happened();
    }

    void ExpectWhole() {
        for (const bool bFirst : {true, false}) {
            CIndex index;
            CFaultInjection faults;
            const auto writes = faults.Watch(Op::Write, Ends(".bin"));
            ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
            EXPECT_TRUE(bFirst || writes.Seen() == 0) << "what the first start left is true";
            for (const char* pChannel : CHANNELS) {
                EXPECT_EQ(FindAll(index, Channel(pChannel)),
                          (Paths{Path(pChannel, FILE_1), Path(pChannel, FILE_2),
                                 Path(pChannel, FILE_3)}));
            }
            index.Release();
            EXPECT_EQ(Tree(m_dir.Path()).size(), 20u) << "no left-overs, no marker";
        }
    }

private:
    // A flushed index of two days; then changes on an old day, a new day and a day that goes.
    void Prepare() {
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

    void TestBody() override {}
};

// Hundreds of flushes: they go to memory where the system has a directory for that.
class Crash : public testing::TestWithParam<Work> {
protected:
    static void SetUpTestSuite() {
        if (fs::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 0);
    }
};

}  // namespace

TEST_P(Crash, LosesNothingAtAnyCall) {
    bool bKilled = true;
    int nCall = 0;
    for (; bKilled; ++nCall) {
        SCOPED_TRACE("killed at call " + std::to_string(nCall));
        CCrash crash;
        bKilled = crash.KilledIn(GetParam(), nCall);
        crash.ExpectWhole();
    }
    EXPECT_GT(nCall, 25) << "files written, cut, moded, synced";
}

INSTANTIATE_TEST_SUITE_P(All, Crash,
                         testing::Values(Work::Flush, Work::RepairWithMarker,
                                         Work::RepairWithoutIndex));
