// Opening a recording, with the process killed at every call to the operating system, and with
// every call failing once. What is in the tree is found by the next start.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

namespace {

class OpeningCrash : public CEngineTest {
protected:
    /// A new start of the engine on what the last one left.
    void Restart() {
        m_faults.ClearRules();
        ASSERT_TRUE(m_pEngine->Initialize(m_stInfo));
    }
    void ExpectAllFound() {
        Trace lsFound = Find("cam_1_0", Time(1, 0), Time(31, 0));
        for (const std::string& strPath : Find("front_door", Time(1, 0), Time(31, 0))) {
            lsFound.push_back(strPath);
        }
        std::sort(lsFound.begin(), lsFound.end());
        EXPECT_EQ(lsFound, RecordFiles());
    }
    /// Stops the engine, without its last flush if everything fails by then.
    void Leave() {
        m_pEngine->Release();
        m_pEngine = std::make_unique<CLocalStorage>();
    }
};

}  // namespace

TEST_F(OpeningCrash, LosesNoRecordingAtAnyCall) {
    AddDisk();
    Start();
    Record("cam_1_0", Hour(4, 8));
    Leave();
    int nWalks = 0;
    // Recordings of a known channel and day, of a new channel, and of a new day.
    for (const auto& [strCamera, nDay] :
         {std::pair("cam_1_0", 4u), {"front_door", 4u}, {"front_door", 5u}}) {
        bool bKilled = true;
        for (int nCall = 0; bKilled; ++nCall, ++nWalks) {
            SCOPED_TRACE(std::string(strCamera) + " killed at call " + std::to_string(nCall));
            Restart();
            int nLeft = nCall;
            m_faults.KillAfter(Below(Disk()), nLeft);
            Open(strCamera, Hour(nDay, 10));
            bKilled = nLeft < 0;
            nLeft = 0;
            Leave();
            Restart();
            ExpectAllFound();
            Leave();
            for (const std::string& strPath : RecordFiles()) {
                if (bKilled && strPath.find("100000_") != strPath.npos) {
                    std::filesystem::remove(strPath);
                    std::filesystem::remove(Disk() + "RecordFile/index01.bin");
                }
            }
        }
    }
    EXPECT_GT(nWalks, 12) << "marker, folders, file";
}

TEST_F(OpeningCrash, LosesNoRecordingWhenAnyCallFails) {
    AddDisk();
    Start();
    Record("cam_1_0", Hour(4, 8));
    Leave();
    unsigned nHour = 9;
    for (const int nError : {EIO, ENOSPC, EMFILE}) {
        for (const Op eOp : {Op::Open, Op::MakeDir, Op::FileMode, Op::Access, Op::Stat}) {
            for (std::uint64_t nCall = 1, nSeen = 1; nCall <= nSeen; ++nCall) {
                SCOPED_TRACE(std::to_string(nError) + " in call " + std::to_string(nCall));
                Restart();
                auto rule = m_faults.Fail(eOp, Below(Disk()), nError).From(nCall).Times(1);
                const bool bOpened = Open("cam_1_0", Hour(4 + nHour / 24, nHour % 24));
                nSeen = rule.Seen();
                m_faults.ClearRules();
                const auto vBefore = RecordFiles();
                if (bOpened) {
                    EXPECT_TRUE(Close("cam_1_0", Hour(4 + nHour / 24, nHour % 24)));
                }
                ++nHour;
                Leave();
                Restart();
                EXPECT_EQ(RecordFiles(), vBefore);
                ExpectAllFound();
                Leave();
            }
        }
    }
}
