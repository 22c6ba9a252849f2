// One run of a host, walked through again and again: each time one call to the operating system
// fails, or one allocation, or the process is killed there. Whatever it was, it is told or without
// effect, recording goes on, and nothing is lost.

#include <array>
#include <cstdlib>
#include <regex>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "IndexMgr/RecDirName.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/EngineTest.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/RepairPlan.h"
#include "Support/AllocationFault.h"

namespace {

const bool g_bLong = std::getenv("LOCALSTORAGE_LONG_WALK") != nullptr;

// In the short form each call fails with one of them.
std::vector<int> ErrorsAt(std::uint64_t nCall) {
    const std::vector<int> vErrors = {EIO, ENOSPC, EMFILE, EROFS, ENOMEM};
    return g_bLong ? vErrors : std::vector{vErrors[nCall % vErrors.size()]};
}

constexpr int NEVER = 3600000;  // ms, but at Release
const char HEAD[] = "HEAD";

class Walk : public CEngineTest, public testing::WithParamInterface<LocalStorageType> {
protected:
    // Hundreds of runs: they go to memory where the system has a directory for that.
    static void SetUpTestSuite() {
        if (fs::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 0);
    }

    Walk() {
        m_pAccepted = static_cast<Accepted*>(::mmap(
            nullptr, sizeof(Accepted), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    }
    ~Walk() override {
        ::munmap(m_pAccepted, sizeof(Accepted));
        SetStorageOption(STORAGE_OPTION_RESERVE_STEP, 32);
    }

    bool IsClient() const { return GetParam() == LOCAL_STORAGE_CLIENT; }

    // What a host left that was killed: recordings and pictures of earlier days, among them one in
    // BackupFile, an index that is not to be trusted, and what a repair removes.
    void Prepare() {
        Reset();
        m_faults.SkipSleeps();
        SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, m_nSyncInterval);
        SetStorageOption(STORAGE_OPTION_RESERVE_STEP, 1);
        g_pRecDirName = "RecordFile";  // a killed process takes its switch with it
        AddDisk("1");
        m_stInfo.enumStorageType = GetParam();
        m_stInfo.nFileSize = 0;  // each piece a file of its own, in the client layout
        for (const char* pDay : {"20240301", "20240302", "20240303"}) {
            const std::string strDay = pDay;
            const std::string strName =
                IsClient() ? strDay + "_080000.mp4" : strDay + "080000_" + strDay + "090000_1.mp4";
            for (const char* pCamera : {"/cam_1_0/", "/front_door/"}) {
                PutFile(Disk() + "RecordFile/" + strDay + pCamera + strName, "old");
            }
            PutFile(Disk() + "BackupFile/20240303/cam_2_0/" + strName, "old");
        }
        for (const char* pOther : {"index.dirty", "index01.bin", "foreign/x", "20240303/stray"}) {
            if (!IsClient()) PutFile(Disk() + "RecordFile/" + pOther, "x");
        }
        PutFile(Disk() + "ImageFile/20240301/check/20240301_080000.jpg", "old");
        PutFile(Disk() + ".localstorage", "in use since 1\n");  // and no identity yet
        m_vOld = RecordFiles();
        *m_pAccepted = {};
        m_vDid.clear();
        m_vDid.reserve(100);
        m_strPicture.clear();
    }

    // ---- The run ----

    bool Did(auto call) {
        m_vDid.push_back(call());
        return m_vDid.back();
    }
    bool Initialize() { return m_bStarted = m_pEngine->Initialize(m_stInfo); }
    bool Piece(std::size_t n, const std::string& strCamera, const recFileInfo& stFile) {
        const bool bWritten = Write(strCamera, stFile, PieceText(n));
        (*m_pAccepted)[n] = bWritten;
        return bWritten;
    }
    static std::string PieceText(std::size_t n) { return "<" + std::to_string(n) + ">"; }

    void Run() {
        recFileInfo stFile = Hour(5, 8);
        const recFileInfo stOther = Hour(6, 8), stNext = Hour(8, 8);
        const std::string strCamera = "cam_1_0", strOther = "front_door";
        Did([&] { return Initialize(); });
        Did([&] { return Open(strCamera, stFile); });
        Did([&] { return Write(strCamera, stFile, HEAD, HEADER); });
        Did([&] { return Piece(0, strCamera, stFile); });
        m_faults.AdvanceTime(2 * SECOND);
        Did([&] { return Piece(1, strCamera, stFile); });
        Did([&] { return Recordings(strCamera).size() == 4; });
        Did([&] { return Open(strOther, stOther); });
        Did([&] { return Piece(6, strOther, stOther); });
        Did([&] { return Close(strOther, stOther); });
        if (!Did([&] { return Picture("front_door", "jpg", &m_strPicture); })) m_strPicture.clear();
        Did([&] { return Piece(2, strCamera, stFile); });
        Did([&] { return Close(strCamera, stFile); });
        m_pEngine->DeleteImagesByDay(Time(1, 0));
        // From here on the index files are true at each start, without a marker.
        Did([&] { return m_pEngine->Release() && Initialize(); });
        Did([&] { return Open(strOther, stNext); });
        Did([&] { return Piece(7, strOther, stNext); });
        Did([&] { return Close(strOther, stNext); });
        Did([&] { return m_pEngine->Release() && Initialize(); });
        SetRoom(FULL);
        CheckDisk();
        SetRoom(ROOM);
        m_faults.AdvanceTime(6 * SECOND);
        stFile.bOpenFlag = !IsClient();  // there each opening is a new file
        m_bOpen = Did([&] { return Open(strCamera, stFile); });
        Did([&] { return Piece(3, strCamera, stFile); });
    }

    /// A process that does this and is killed before its n-th call to the system; false when it
    /// ends earlier. Index files are written in pieces, so that they can be torn.
    bool IsKilled(std::uint64_t nCall, const std::function<void()>& work) {
        const pid_t nProcess = ::fork();
        if (nProcess == 0) {
            m_faults.Before(Op::Any, Any(), [] { ::kill(::getpid(), SIGKILL); }).From(nCall);
            m_faults.ShortWrite(Ends(".bin"), 20);
            work();
            ::_exit(0);
        }
        int nStatus = 0;
        EXPECT_EQ(::waitpid(nProcess, &nStatus, 0), nProcess);
        EXPECT_TRUE(nStatus == 0 || WTERMSIG(nStatus) == SIGKILL);
        return nStatus != 0;
    }

    // ---- What must hold ----

    std::map<std::string, std::string> Tree() const {
        std::map<std::string, std::string> mTree;
        for (const auto& entry : fs::recursive_directory_iterator(Disk())) {
            const std::string strPath = entry.path().lexically_relative(Disk());
            if (strPath != ".localstorage") {
                mTree[strPath] = entry.is_regular_file() ? GetFile(entry.path()) : "";
            }
        }
        return mTree;
    }
    static std::size_t Troubles() {
        std::size_t nTroubles = Told(MESSAGEVALUE_WRITEFAIL).size();
        for (const char* pWord :
             {"fail", "cannot", "error", "memory", "no answer", "exist", "iErr"}) {
            nTroubles += LinesWith(pWord);
        }
        return nTroubles;
    }
    /// "camera/name" of each.
    static std::multiset<std::string> FileNames(const Texts& vPaths) {
        std::multiset<std::string> setNames;
        for (const std::string& strPath : vPaths) {
            const fs::path path = strPath;
            setNames.insert(path.parent_path().filename() / path.filename());
        }
        return setNames;
    }

    /// Of a camera, as its files say and as the engine accepted.
    void ExpectContent(const std::string& strCamera, std::initializer_list<std::size_t> vPieces,
                       bool bKilled) const {
        std::string strContent, strAccepted, strMore;
        for (const std::string& strPath : RecordFiles()) {
            if (strPath.find("/" + strCamera + "/") == std::string::npos) continue;
            const std::string strFile = GetFile(strPath);
            if (strFile != "old") strContent += std::regex_replace(strFile, std::regex(HEAD), "");
        }
        for (const std::size_t n : vPieces) {
            if ((*m_pAccepted)[n]) strAccepted += PieceText(n);
            if (!(*m_pAccepted)[n] && strMore.empty()) strMore = PieceText(n);
        }
        EXPECT_TRUE(strContent == strAccepted || (bKilled && strContent == strAccepted + strMore))
            << strContent << " of " << strAccepted;
    }
    void ExpectNothingLost(bool bKilled) const {
        ExpectContent("cam_1_0", {0, 1, 2, 3, 4}, bKilled);
        ExpectContent("front_door", {6, 7}, bKilled);
        ExpectContent("cam_3_0", {5}, bKilled);
        const auto setThere = FileNames(RecordFiles()), setDeleted = FileNames(Deleted());
        std::set<std::string> setDays;
        for (const std::string& strName : FileNames(m_vOld)) {
            if (setThere.count(strName) == 1) continue;
            EXPECT_EQ(setThere.count(strName), 0u) << strName;
            EXPECT_TRUE(setDeleted.count(strName) == 1 || bKilled) << strName;
            setDays.insert(strName.substr(strName.find('/'), 9));
        }
        EXPECT_LE(setDays.size(), 1u) << "the day that made room";
        EXPECT_TRUE(m_strPicture.empty() || GetFile(m_strPicture) == "jpg");
    }
    /// Of the index files: invariant 2, and after an end without a fault that they stand and are
    /// true.
    void ExpectTrueIndex(bool bSettled) const {
        if (IsClient()) return;
        const std::string strFolder = Disk() + "RecordFile";
        const bool bTrusted = AskIndexMarker(strFolder) == IndexMarker::None &&
                              fs::exists(strFolder + "/index01.bin");
        EXPECT_TRUE(bTrusted || !bSettled);
        if (!bTrusted) return;
        CIndexTree tree;
        indexFileFault fault;
        repairPlan plan;
        EXPECT_TRUE(LoadIndex(strFolder, IndexLength::Exact, tree, fault)) << fault.strPath;
        EXPECT_TRUE(MakeRepairPlan(strFolder, plan));
        const indexDifference difference = CompareWithTree(tree, plan);
        EXPECT_THAT(difference.vGone, IsEmpty());
        EXPECT_THAT(difference.vUnlisted, IsEmpty());
    }
    void ExpectAllFound() {
        if (IsClient()) return;
        Texts vFound;
        for (const char* pCamera : {"cam_1_0", "front_door", "cam_2_0", "cam_3_0"}) {
            for (const std::string& strPath : Recordings(pCamera)) vFound.push_back(strPath);
        }
        std::sort(vFound.begin(), vFound.end());
        EXPECT_EQ(vFound, RecordFiles());
    }
    /// The next start.
    void ExpectGoodStart(bool bKilled) {
        ASSERT_TRUE(Initialize()) << LastError();
        EXPECT_STREQ(RecDirName(), "RecordFile");
        EXPECT_FALSE(Exists(Disk() + "BackupFile"));
        ExpectAllFound();
        EXPECT_TRUE(Record("cam_3_0", Hour(7, 9), ""));
        EXPECT_TRUE(m_pEngine->Release());
        ExpectNothingLost(bKilled);
        ExpectTrueIndex(true);
        for (const std::string& strPath : RecordFiles()) {
            EXPECT_TRUE(!bKilled || Allocated(strPath) < 1 << 19) << strPath;
        }
    }

    /// After a run in which something failed that does not any more.
    void ExpectGoesOn(bool bMayHide) {
        m_faults.ClearRules();
        m_faults.AdvanceTime(6 * SECOND);
        m_vDid.push_back(m_bStarted);
        m_bOpen &= m_bStarted;
        ASSERT_TRUE(m_bStarted || Initialize()) << LastError();
        const recFileInfo stNew = Hour(7, 8);
        EXPECT_TRUE(!m_bOpen || Piece(4, "cam_1_0", Hour(5, 8)));
        EXPECT_TRUE(Open("cam_3_0", stNew)) << LastError();
        EXPECT_TRUE(Piece(5, "cam_3_0", stNew));
        EXPECT_TRUE(Close("cam_3_0", stNew));
        // What no start could read is hidden until the next.
        const bool bHidden =
            LinesWith("BackupFile is used") + LinesWith("directory cannot be read") > 0;
        if (!bMayHide || !bHidden) ExpectAllFound();
        ExpectNothingLost(false);
        EXPECT_TRUE(m_pEngine->Release());
        ExpectTrueIndex(false);
        const bool bTold = m_vDid != m_vReference || Troubles() != m_nReference;
        ExpectGoodStart(false);
        if (m_mReference.empty()) {
            m_mReference = Tree();
            m_vReference = m_vDid;
            m_nReference = Troubles();
        }
        EXPECT_THAT(bTold ? m_mReference : Tree(), testing::ContainerEq(m_mReference))
            << "without a word";
    }
    void ExpectReference() {
        Prepare();
        Run();
        ExpectGoesOn(false);
        EXPECT_EQ(std::count(m_vDid.begin(), m_vDid.end(), false), IsClient() ? 1 : 0);
    }

    /// Runs it again and again, each time with another call that fails, between what prepares it
    /// and what checks it.
    void FailEachCall(const std::function<void()>& prepare, const std::function<void()>& run,
                      const std::function<void(bool bForEver)>& check) {
        for (const bool bForEver : {false, true}) {
            bool bCalled = true;
            for (std::uint64_t nCall = 1; bCalled; ++nCall) {
                for (const int nError : ErrorsAt(nCall)) {
                    std::string strWhere;
                    std::uint64_t nCalls = 0;
                    const auto match = [&](const std::string& strPath) {
                        if (++nCalls == nCall) strWhere = strPath;
                        return true;
                    };
                    prepare();
                    auto rule = m_faults.Fail(Op::Any, match, nError).From(nCall);
                    if (!bForEver) rule.Times(1);
                    run();
                    bCalled = rule.Seen() >= nCall;
                    SCOPED_TRACE("call " + std::to_string(nCall) +
                                 (bForEver ? " and all later, " : ", ") + std::strerror(nError) +
                                 ", " + strWhere);
                    check(bForEver);
                }
            }
        }
    }

    using Accepted = std::array<bool, 8>;
    Accepted* m_pAccepted = nullptr;  // shared with the processes that are killed
    std::vector<bool> m_vDid, m_vReference;
    std::map<std::string, std::string> m_mReference;
    std::size_t m_nReference = 0;
    Texts m_vOld;
    std::string m_strPicture;
    bool m_bStarted = false, m_bOpen = false;
    int m_nSyncInterval = NEVER;
};

TEST_P(Walk, AnyCallToTheSystemMayFail) {
    ExpectReference();
    FailEachCall([this] { Prepare(); }, [this] { Run(); },
                 [this](bool bForEver) { ExpectGoesOn(bForEver); });
}

// The disk comes late, and its index is to be repaired.
TEST_P(Walk, AnyCallMayFailWhileADiskIsTakenOver) {
    const auto prepare = [this] {
        Prepare();
        fs::rename(m_dir / "1", m_dir / "disk");
        fs::create_directory(m_dir / "1");
        ASSERT_TRUE(Initialize());
        fs::rename(m_dir / "1", m_dir / "below");
        fs::rename(m_dir / "disk", m_dir / "1");
        m_faults.SetDevice(m_dir / "1", 4711);
    };
    FailEachCall(
        prepare, [this] { CheckDisk(); },
        [this](bool) {
            m_faults.ClearRules();
            EXPECT_TRUE(Await([this] {
                m_faults.AdvanceTime(6 * SECOND);
                CheckDisk();
                return LinesWith("is taken over") + LinesWith("until the next start") > 0;
            }));
            m_pEngine->Release();
            ExpectGoodStart(false);
        });
}

TEST_P(Walk, AnyAllocationMayFail) {
    ExpectReference();
    for (const bool bForEver : {false, true}) {
        bool bFailed = true;
        for (int n = 1; bFailed; n += g_bLong ? 1 : 11) {
            Prepare();
            {
                CAllocationFault fault(n, bFailed, bForEver);
                Run();
            }
            SCOPED_TRACE("allocation " + std::to_string(n) + (bForEver ? " and all later" : ""));
            ExpectGoesOn(bForEver);
        }
    }
}

// Each run of the host is killed, and the start after it, too.
TEST_P(Walk, AnyCallMayBeTheLast) {
    m_nSyncInterval = 1;
    bool bKilled = true;
    std::uint64_t nCall = 1;
    for (; bKilled; nCall += KILL_STEP) {
        SCOPED_TRACE("killed at call " + std::to_string(nCall));
        Prepare();
        bKilled = IsKilled(nCall, [this] { Run(); });
        ExpectTrueIndex(false);
        IsKilled(nCall % 150, [this] { Initialize(); });
        ExpectTrueIndex(false);
        m_faults.AdvanceTime(DAY);
        ExpectGoodStart(true);
    }
    EXPECT_GT(nCall, 500u);
}

// The wall clock of a host that takes its times from it is set, forth and back, or its local time
// jumps; the other clock goes on.
TEST_P(Walk, NoStepOfTheClockCostsARecording) {
    constexpr std::int64_t HOUR = 3600 * SECOND, TO_1970 = 54 * 365 * DAY;
    constexpr std::time_t SPRING = 1711846790, AUTUMN = 1729990790;  // 10 s before, in Berlin
    const struct {
        std::time_t tStart;
        std::int64_t nStep;
    } cases[] = {{SPRING, 0},   {AUTUMN, 0},    {SPRING, HOUR}, {AUTUMN, -HOUR},   {AUTUMN, HOUR},
                 {SPRING, DAY}, {AUTUMN, -DAY}, {0, TO_1970},   {SPRING, -TO_1970}};
    ::setenv("TZ", "Europe/Berlin", 1);
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.tStart) + " and " + std::to_string(c.nStep) + " ms");
        Prepare();
        m_faults.SetTime(c.tStart);
        ASSERT_TRUE(Initialize()) << LastError();
        for (int n = 0; n < 60; ++n) {
            if (n == 20) m_faults.StepClock(c.nStep);
            if (n == 40) m_faults.StepClock(-c.nStep - 120 * SECOND);  // to the beginning
            recFileInfo stFile = Recording({}, BlockTime(2100, 1, 1));
            ConvertLocalTimeToBlockTime(OSL_Time(), stFile.stStartTime);
            // As the interface asks of such a host: a recording that is there is continued.
            stFile.bOpenFlag = true;
            const bool bContinued = !IsClient() && Open("cam_1_0", stFile);
            stFile.bOpenFlag = bContinued;
            ASSERT_TRUE(bContinued || Open("cam_1_0", stFile)) << LastError();
            for (int nPiece = 0; nPiece < 3; ++nPiece) {
                ASSERT_TRUE(Write("cam_1_0", stFile, std::to_string(3 * n + nPiece) + " "));
                m_faults.AdvanceTime(SECOND);
            }
            ASSERT_TRUE(Close("cam_1_0", stFile));
        }
        m_pEngine->Release();
        ASSERT_TRUE(Initialize());
        ExpectAllFound();
        m_pEngine->Release();
        std::set<std::string> setFound;
        for (const std::string& strPath : RecordFiles()) {
            std::istringstream words(GetFile(strPath));
            for (std::string strWord; words >> strWord;) setFound.insert(strWord);
        }
        EXPECT_EQ(setFound.size(), 60u * 3 + 1) << "all pieces, and what is old";
    }
    ::unsetenv("TZ");
}

INSTANTIATE_TEST_SUITE_P(All, Walk,
                         testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT));

}  // namespace
