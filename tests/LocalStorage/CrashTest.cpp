// Recording, with the process killed at every call to the operating system until the engine has
// stopped; and opening, with every call failing once. What is in the tree is found by the next
// start.

#include "LocalStorage/EngineTest.h"

class RecordingCrash : public CEngineTest {
protected:
    RecordingCrash() {
        Start();
        Record("cam_1_0", Hour(4, 8));
        m_pEngine->Release();
    }
    /// A new start on what the last one left, of which it finds everything.
    void ExpectAllFound() {
        m_pEngine->Release();
        m_faults.ClearRules();
        Start();
        Texts vFound = Recordings("cam_1_0");
        for (const std::string& strPath : Recordings("front_door")) vFound.push_back(strPath);
        std::sort(vFound.begin(), vFound.end());
        EXPECT_EQ(vFound, RecordFiles());
        m_pEngine->Release();
    }
};

TEST_F(RecordingCrash, LosesNoRecordingAtAnyCall) {
    int nWalks = 0;
    // Recordings of a known channel and day, of a new channel, and of a new day.
    for (const auto& [strCamera, nDay] :
         {std::pair("cam_1_0", 4), {"front_door", 4}, {"front_door", 5}}) {
        bool bKilled = true;
        for (int nCall = 0; bKilled; ++nCall, ++nWalks) {
            SCOPED_TRACE(std::string(strCamera) + " killed at call " + std::to_string(nCall));
            Start();
            int nLeft = nCall;
            m_faults.KillAfter(Below(Disk()), nLeft);
            Record(strCamera, Hour(nDay, 10));
            m_pEngine->Release();
            bKilled = nLeft < 0;
            ExpectAllFound();
            for (const std::string& strPath : RecordFiles()) {
                if (bKilled && strPath.find("100000_") != strPath.npos) {
                    std::filesystem::remove(strPath);
                    std::filesystem::remove(Disk() + "RecordFile/index01.bin");
                }
            }
        }
    }
    EXPECT_GT(nWalks, 60) << "marker, folders, file, index";
}

TEST_F(RecordingCrash, LosesNothingWhenAnyCallOfAnOpeningFails) {
    int nHour = 9;
    for (const int nError : {EIO, ENOSPC, EMFILE}) {
        for (const Op eOp : {Op::Open, Op::MakeDir, Op::FileMode, Op::Access, Op::Stat}) {
            for (std::uint64_t nCall = 1, nSeen = 1; nCall <= nSeen; ++nCall, ++nHour) {
                SCOPED_TRACE(std::to_string(nError) + " in call " + std::to_string(nCall));
                Start();
                const recFileInfo stFile = Hour(4 + nHour / 24, nHour % 24);
                auto rule = m_faults.Fail(eOp, Below(Disk()), nError).From(nCall).Times(1);
                const bool bOpened = Open("cam_1_0", stFile);
                nSeen = rule.Seen();
                m_faults.ClearRules();
                const Texts vBefore = RecordFiles();
                EXPECT_EQ(Close("cam_1_0", stFile), bOpened);
                ExpectAllFound();
                EXPECT_EQ(RecordFiles(), vBefore);
            }
        }
    }
}
