// Thirty days of 64 cameras on disks that hold a few: the newest part stays, and after every pass
// the tree, the index and what the host was told agree.

#include <set>

#include "LocalStorage/EngineTest.h"

namespace {

constexpr int DAYS = 30, CAMERAS = 64;
constexpr int FILES_PER_DAY = 4;      // of a camera
constexpr int FILES_PER_DISK = 1300;  // about five days of all cameras

std::string Camera(int n) {
    return "cam_" + std::to_string(n) + "_0";
}

}  // namespace

class Month : public CEngineTest {
protected:
    using PathSet = std::set<std::string>;

    /// One disk check with a mebibyte less room for every file on a disk. All the rest of the time
    /// there is room, so that the engine's own thread finds nothing to do while a test looks.
    void CheckDisks() {
        for (const std::string& strDisk : m_vDisk) {
            const auto nFiles = std::count_if(
                m_setLive.begin(), m_setLive.end(),
                [&](const auto& strPath) { return strPath.starts_with(Disk(strDisk)); });
            SetRoom(FULL + std::max<long>(FILES_PER_DISK - nFiles, 0), strDisk);
        }
        CheckDisk();
        for (const std::string& strDisk : m_vDisk) SetRoom(ROOM, strDisk);
        m_pEngine->DeleteImagesByDay(BlockTime(9999, 1, 1));  // waits for a check that still runs
        for (const std::string& strDisk : m_vDisk) {
            std::filesystem::remove_all(Disk(strDisk) + "ImageFile");
        }
    }

    void UpdateFromMessages() {
        for (const hostMessage& stMessage : Messages()) {
            const std::string& strPath = stMessage.strWhat;
            if (stMessage.nType == MESSAGEVALUE_CREATEFILE) m_setLive.insert(strPath);
            if (stMessage.nType == MESSAGEVALUE_CREATEFILE) m_setOpen.insert(strPath);
            if (stMessage.nType == MESSAGEVALUE_CLOSEFILE) m_setOpen.erase(strPath);
            if (stMessage.nType != MESSAGEVALUE_DELETEFILE) continue;
            EXPECT_EQ(m_setLive.erase(strPath), 1u) << strPath;
            EXPECT_EQ(m_setOpen.count(strPath), 0u) << strPath;
            m_strLastDeleted = std::max(m_strLastDeleted, DayOf(strPath));
            ++m_nDeleted;
        }
        ForgetMessages();
    }
    static std::string DayOf(const std::string& strPath) {
        return std::filesystem::path(strPath).parent_path().parent_path().filename();
    }

    PathSet Indexed() {
        PathSet setPath;
        for (int i = 0; i < CAMERAS; ++i) {
            for (const std::string& strPath : Recordings(Camera(i))) setPath.insert(strPath);
        }
        return setPath;
    }

    void CheckAgreement() {
        const Texts vTree = RecordFiles();
        EXPECT_EQ(PathSet(vTree.begin(), vTree.end()), m_setLive);
        if (m_stInfo.enumStorageType == LOCAL_STORAGE_REMOTE_BACKUP) {
            EXPECT_EQ(Indexed(), m_setLive);
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_dir.Path())) {
            if (!entry.is_directory() || entry.path().filename().string().size() <= 2) continue;
            EXPECT_FALSE(std::filesystem::is_empty(entry.path())) << entry.path();
        }
        for (const std::string& strPath : m_setLive) {
            EXPECT_GE(DayOf(strPath), m_strLastDeleted) << "older ones went before";
        }
    }

    void Run(LocalStorageType eType, const Texts& vDisk) {
        m_vDisk = vDisk;
        for (const std::string& strDisk : vDisk) AddDisk(strDisk);
        m_stInfo.bCycWrite = vDisk.size() > 1;
        m_stInfo.nFileSize = 0;  // in the client layout a file per piece
        Start(eType);
        int nPasses = 0;
        for (int nStep = 0; nStep < DAYS * FILES_PER_DAY; ++nStep) {
            for (int i = 0; i < CAMERAS; ++i) RecordStep(Camera(i), nStep);
            m_faults.AdvanceTime(DAY / FILES_PER_DAY);
            UpdateFromMessages();
            const auto nBefore = m_nDeleted;
            CheckDisks();
            UpdateFromMessages();
            if (m_nDeleted == nBefore) continue;
            ++nPasses;
            CheckAgreement();
            if (HasFatalFailure() || HasNonfatalFailure()) return;
        }
        EXPECT_GE(nPasses, DAYS - 1 - static_cast<int>(vDisk.size()) * 7);
        EXPECT_GE(m_setLive.size(), vDisk.size() * (FILES_PER_DISK - 2 * CAMERAS * FILES_PER_DAY));
    }

    /// Backup layout: a recording from now on. Client layout: a piece, and with it a file.
    void RecordStep(const std::string& strCamera, int nStep) {
        if (m_stInfo.enumStorageType == LOCAL_STORAGE_CLIENT) {
            if (nStep == 0) {
                ASSERT_TRUE(Open(strCamera, m_stFile));
            }
            ASSERT_TRUE(Write(strCamera, m_stFile, strCamera));
            return;
        }
        if (nStep > 0) {
            ASSERT_TRUE(Close(strCamera, Step(nStep - 1)));
        }
        ASSERT_TRUE(Open(strCamera, Step(nStep))) << nStep << " " << LastError();
        ASSERT_TRUE(Write(strCamera, Step(nStep), strCamera));
    }
    static recFileInfo Step(int nStep) {
        return Hour(1 + nStep / FILES_PER_DAY, nStep % FILES_PER_DAY * (24 / FILES_PER_DAY));
    }
    Texts m_vDisk;
    recFileInfo m_stFile;
    PathSet m_setLive;  ///< what the messages say is there
    PathSet m_setOpen;  ///< and what of it is open
    std::string m_strLastDeleted;
    std::size_t m_nDeleted = 0;
};

TEST_F(Month, BackupLayoutOnOneDisk) {
    Run(LOCAL_STORAGE_REMOTE_BACKUP, {"1"});
}
TEST_F(Month, BackupLayoutOnTwoDisks) {
    Run(LOCAL_STORAGE_REMOTE_BACKUP, {"1", "2"});
}
TEST_F(Month, ClientLayoutOnTwoDisks) {
    Run(LOCAL_STORAGE_CLIENT, {"1", "2"});
}
