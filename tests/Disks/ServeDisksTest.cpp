// The HTTP server with a sick disk beside a good one: serve_disks_test SICK_DISK, which is the
// program of SickDisk.cpp. script/test-disks runs it, in a mount namespace of its own.

#include "SickDisk.h"
#include "tool/ServeUse.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::this_thread::sleep_for;

/// Camera "a" is on a good disk, camera "b" on one that is not.
class ServeDisks : public ServeUse {
protected:
    ServeDisks() {
        Import("good", "2024-03-05 08:00", "a");
        Import("made", "2024-03-05 08:00", "b");
    }
    void ServeBeside(const std::string& strDisk) {
        const auto tBegin = Clock::now();
        Serve("--dir good --dir " + strDisk);
        EXPECT_LT(Clock::now() - tBegin, 6s);
    }
    static void PutRecordings(const std::string& strDisk) {
        fs::copy("made", strDisk, fs::copy_options::recursive);
    }
    void ExpectWithin(Clock::duration nMost, const std::string& strTarget, int nStatus) const {
        const auto tBegin = Clock::now();
        Expect(strTarget, nStatus);
        EXPECT_LT((Clock::now() - tBegin) / 1ms, nMost / 1ms) << strTarget;
    }
    /// Camera "b" is not found, and nobody waits for that.
    void ExpectOneDisk(const std::string& strDisk) const {
        ExpectWithin(3s, "/list?path=b", 503);  // it may be this request that finds the disk sick
        for (int n = 0; n < 10; ++n) {
            ExpectWithin(500ms, "/list?path=a", 200);
            ExpectWithin(500ms, "/list?path=b", 503);
            ExpectWithin(500ms, "/healthz", 503);
            ExpectWithin(500ms, "/api/status", 200);
        }
        EXPECT_THAT(Get("/get?path=a&start=2024-03-05T07:00:00Z&duration=6"),
                    SizeIs(testing::Gt(10000u)));
        EXPECT_THAT(Get("/metrics"), HasSubstr("readable{dir=\"" + strDisk + "\"} 0\n"));
        const fs::directory_iterator threads("/proc/" + std::to_string(m_stTool.nPid) + "/task");
        EXPECT_LT(std::distance(begin(threads), end(threads)), 16);
    }
    void ExpectBothDisks() const {
        Await([this] { return Get("/healthz").find(" 200 ") != std::string::npos; });
        for (const char* p : {"/list?path=a", "/list?path=b", "/healthz"}) Expect(p, 200);
    }

    /// Whether the server has ended but for calls to the system that do not come back.
    bool HasLeft() const {
        const std::string strStat = GetFile("/proc/" + std::to_string(m_stTool.nPid) + "/stat");
        return strStat.find(") Z ") != std::string::npos;
    }

    const CTempDir m_dir;
};

class ServeHanging : public ServeDisks, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Operations, ServeHanging, testing::Values("all", "readdir"));

TEST_P(ServeHanging, HarmsNobodyElse) {
    const CSickDisk sick(m_dir);
    PutRecordings(sick.Path());
    sick.Hang(GetParam());
    ServeBeside(sick.Path());
    ExpectOneDisk(sick.Path());
    sick.GoOn();
    ExpectBothDisks();
    // Somebody watches when it hangs, and when the server is ended.
    const auto objViewer = std::async(
        std::launch::async, [&] { return Get("/get?path=b&start=2024-03-05T07:00:00Z"); });
    sleep_for(500ms);
    sick.Hang(GetParam());
    ExpectOneDisk(sick.Path());
    kill(m_stTool.nPid, SIGTERM);
    EXPECT_TRUE(Await([this] { return HasLeft(); }));
    EXPECT_FALSE(Connect(socket(AF_INET, SOCK_STREAM, 0), m_nPort)) << "another may listen there";
    sick.GoOn();
    End();
}

TEST_F(ServeDisks, OneThatFailsOrIsPulledHarmsNobodyElse) {
    {
        const CSickDisk failing(m_dir);
        PutRecordings(failing.Path());
        ServeBeside(failing.Path());
        ExpectBothDisks();
        failing.Fail();
        ExpectOneDisk(failing.Path());
        End();
    }
    const std::string strPulled = m_dir / "pulled";
    const CGoodDisk pulled(strPulled);
    PutRecordings(strPulled);
    ServeBeside(strPulled);
    ExpectBothDisks();
    ::umount2(strPulled.c_str(), MNT_DETACH);
    ExpectOneDisk(strPulled);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const std::string strSickDisk = fs::absolute(argv[1]);  // every test has a directory of its own
    g_pSickDisk = strSickDisk.c_str();
    return RUN_ALL_TESTS();
}
