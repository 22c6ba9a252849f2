// Thirty days of 64 cameras on disks that hold a few: the newest part stays, and after every pass
// the tree, the index and what the host was told agree.

#include "LocalStorage/EngineTest.h"

class Month : public CEngineTest, public testing::WithParamInterface<std::pair<bool, int>> {
protected:
    static constexpr int DAYS = 30, CAMERAS = 64;
    static constexpr int FILES_PER_DAY = 4;      // of a camera
    static constexpr int FILES_PER_DISK = 1300;  // about five days of all cameras
    using PathSet = std::set<std::string>;

    /// One disk check with a mebibyte less room for every file on a disk. All the rest of the time
    /// there is room, so that the engine's own thread finds nothing to do while a test looks.
    void CheckDisks() {
        for (int n = 1; n <= m_nDisks; ++n) {
            const auto nFiles = std::count_if(
                m_setLive.begin(), m_setLive.end(),
                [&](const auto& strPath) { return strPath.starts_with(Disk(std::to_string(n))); });
            SetRoom(FULL + static_cast<std::uint64_t>(std::max<long>(FILES_PER_DISK - nFiles, 0)),
                    std::to_string(n));
        }
        CheckDisk();
        for (int n = 1; n <= m_nDisks; ++n) SetRoom(ROOM, std::to_string(n));
        m_pEngine->DeleteImagesByDay(BlockTime(9999, 1, 1));  // waits for a check that still runs
        for (int n = 1; n <= m_nDisks; ++n) {
            fs::remove_all(Disk(std::to_string(n)) + "ImageFile");
        }
    }

    /// True when something was deleted.
    bool UpdateFromMessages() {
        const bool bDeleted = !Deleted().empty();
        for (const hostMessage& stMessage : Messages()) {
            if (stMessage.nType == MESSAGEVALUE_CREATEFILE) m_setLive.insert(stMessage.strWhat);
            if (stMessage.nType != MESSAGEVALUE_DELETEFILE) continue;
            EXPECT_EQ(m_setLive.erase(stMessage.strWhat), 1u) << stMessage.strWhat;
        }
        ForgetMessages();
        return bDeleted;
    }

    void CheckAgreement() {
        const Texts vTree = RecordFiles();
        EXPECT_EQ(PathSet(vTree.begin(), vTree.end()), m_setLive);
        PathSet setIndexed;
        for (int i = 0; i < CAMERAS; ++i) {
            for (const std::string& strPath : Recordings(Camera(i))) setIndexed.insert(strPath);
        }
        EXPECT_EQ(setIndexed, m_bClient ? PathSet() : m_setLive);
        for (const auto& entry : fs::recursive_directory_iterator(m_dir.Path())) {
            if (!entry.is_directory() || entry.path().filename().string().size() <= 2) continue;
            EXPECT_FALSE(fs::is_empty(entry.path())) << entry.path();
        }
    }

    static std::string Camera(int n) { return "cam_" + std::to_string(n) + "_0"; }
    /// Backup layout: a recording from now on. Client layout: a piece, and with it a file.
    void RecordStep(const std::string& strCamera, int nStep) {
        const auto file = [](int n) {
            return Hour(1 + n / FILES_PER_DAY, n % FILES_PER_DAY * (24 / FILES_PER_DAY));
        };
        const bool bOpens = !m_bClient || nStep == 0;
        ASSERT_TRUE(!bOpens || nStep == 0 || Close(strCamera, file(nStep - 1)));
        ASSERT_TRUE(!bOpens || Open(strCamera, file(nStep))) << nStep << " " << LastError();
        ASSERT_TRUE(Write(strCamera, file(nStep), strCamera));
    }

    const bool m_bClient = GetParam().first;
    const int m_nDisks = GetParam().second;
    PathSet m_setLive;  ///< what the messages say is there
};

TEST_P(Month, TheNewestPartStaysAndAllAgree) {
    for (int n = 1; n <= m_nDisks; ++n) AddDisk(std::to_string(n));
    m_stInfo.bCycWrite = m_nDisks > 1;
    m_stInfo.nFileSize = 0;  // in the client layout a file per piece
    Start(m_bClient ? LOCAL_STORAGE_CLIENT : LOCAL_STORAGE_REMOTE_BACKUP);
    int nPasses = 0;
    for (int nStep = 0; nStep < DAYS * FILES_PER_DAY && !HasFailure(); ++nStep) {
        for (int i = 0; i < CAMERAS; ++i) RecordStep(Camera(i), nStep);
        m_faults.AdvanceTime(DAY / FILES_PER_DAY);
        UpdateFromMessages();
        CheckDisks();
        if (!UpdateFromMessages()) continue;
        ++nPasses;
        CheckAgreement();
    }
    EXPECT_GE(nPasses, DAYS - 1 - m_nDisks * 7);
    EXPECT_GE(static_cast<int>(m_setLive.size()),
              m_nDisks * (FILES_PER_DISK - 2 * CAMERAS * FILES_PER_DAY));
}

INSTANTIATE_TEST_SUITE_P(All, Month,
                         testing::Values(std::pair(false, 1), std::pair(false, 2),
                                         std::pair(true, 2)));
