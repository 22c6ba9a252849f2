// Many threads on one engine. Run under ThreadSanitizer, too.

#include <atomic>
#include <thread>

#include "LocalStorage/EngineTest.h"

class Threads : public CEngineTest {
protected:
    static constexpr int THREADS = 8, CAMERAS = 8, ROUNDS = 4, PIECES = 20;

    /// Opens, feeds and closes eight cameras of its own, over and over.
    void RecordCameras(int nThread) {
        for (int nRound = 0; nRound < ROUNDS; ++nRound) {
            const recFileInfo stFile = Hour(5 + nRound, 8);
            for (int i = 0; i < CAMERAS; ++i) EXPECT_TRUE(Open(Name(nThread, i), stFile));
            for (int nPiece = 0; nPiece < PIECES; ++nPiece) {
                for (int i = 0; i < CAMERAS; ++i) {
                    EXPECT_TRUE(Write(Name(nThread, i), stFile, Name(nThread, i)));
                }
            }
            for (int i = 0; i < CAMERAS; ++i) EXPECT_TRUE(Close(Name(nThread, i), stFile));
        }
    }
    static std::string Name(int nThread, int nCamera) {
        return "cam_" + std::to_string(nThread) + "_" + std::to_string(nCamera);
    }

    /// Runs the work on as many threads, and meanwhile queries, measures and stores pictures.
    void RunAll(const std::function<void(int)>& work) {
        std::atomic<bool> bStop = false;
        std::thread observer([&] {
            while (!bStop) {
                Find("cam_1_1", Time(1, 0), Time(30, 0));
                m_pEngine->GetDiskWriteSpeed();
                LastError();
            }
        });
        std::thread pictures([&] {
            while (!bStop) Picture("cam_1_1", "jpg");
        });
        std::vector<std::thread> vThread;
        for (int i = 0; i < THREADS; ++i) vThread.emplace_back(work, i);
        for (std::thread& thread : vThread) thread.join();
        bStop = true;
        observer.join();
        pictures.join();
    }
};

TEST_F(Threads, SixtyFourChannelsOnEightThreads) {
    Start();
    RunAll([this](int nThread) { RecordCameras(nThread); });
    EXPECT_EQ(RecordFiles().size(), 1u * THREADS * CAMERAS * ROUNDS);
    for (const std::string& strPath : RecordFiles()) {
        const std::string strCamera = std::filesystem::path(strPath).parent_path().filename();
        std::string strContent;
        for (int nPiece = 0; nPiece < PIECES; ++nPiece) strContent += strCamera;
        EXPECT_EQ(GetFile(strPath), strContent);
    }
    EXPECT_EQ(Told(MESSAGEVALUE_CREATEFILE).size(), RecordFiles().size());
    EXPECT_EQ(Told(MESSAGEVALUE_CLOSEFILE).size(), RecordFiles().size());
}

TEST_F(Threads, SwitchesWhileTheOldestDayIsDeleted) {
    m_stInfo.nFileSize = 0;  // a file per piece
    Start(LOCAL_STORAGE_CLIENT);
    SetRoom(100);  // so every disk check is a deletion pass
    std::atomic<int> nLost = 0;
    RunAll([&](int nThread) {
        SetRoom(ROOM);
        const recFileInfo stFile;
        const std::string strCamera = Name(nThread, 0);
        while (!Open(strCamera, stFile)) SetRoom(ROOM);
        for (int nPiece = 0; nPiece < 200; ++nPiece) {
            SetRoom(100);
            m_faults.AdvanceTime(500);
            if (!Write(strCamera, stFile, strCamera)) ++nLost;
        }
        Close(strCamera, stFile);
    });
    EXPECT_EQ(nLost, 0);
    // What is there was made and not deleted; what was deleted is gone.
    Texts lsMade = Told(MESSAGEVALUE_CREATEFILE), lsDeleted = Told(MESSAGEVALUE_DELETEFILE);
    for (const std::string& strPath : RecordFiles()) {
        EXPECT_EQ(std::count(lsMade.begin(), lsMade.end(), strPath) -
                      std::count(lsDeleted.begin(), lsDeleted.end(), strPath),
                  1);
    }
    EXPECT_EQ(lsMade.size() - lsDeleted.size(), RecordFiles().size());
    EXPECT_FALSE(lsDeleted.empty());
}

TEST_F(Threads, AChannelClosedUnderAWriterIsNeverTorn) {
    Start();
    const recFileInfo stFile = Hour(5, 8);
    std::atomic<bool> bStop = false;
    std::vector<std::thread> vWriter;
    for (int i = 0; i < 4; ++i) {
        vWriter.emplace_back([&] {
            while (!bStop) Write("cam_1_1", stFile, "0123456789");
        });
    }
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(Open("cam_1_1", stFile));
        ASSERT_TRUE(Close("cam_1_1", stFile));
        const std::string strContent = GetFile(RecordFiles().at(0));
        EXPECT_EQ(strContent.size() % 10, 0u);
    }
    bStop = true;
    for (std::thread& thread : vWriter) thread.join();
    EXPECT_FALSE(Write("cam_1_1", stFile, "late"));
}

TEST_F(Threads, OfTwoThatOpenOneChannelOneIsRefused) {
    Start();
    for (int i = 0; i < 50; ++i) {
        std::atomic<int> nOpened = 0;
        std::vector<std::thread> vThread;
        for (int j = 0; j < 3; ++j) {
            vThread.emplace_back([&] { nOpened += Open("cam_1_1", Hour(5, 8)); });
        }
        for (std::thread& thread : vThread) thread.join();
        EXPECT_EQ(nOpened, 1);
        EXPECT_TRUE(Close("cam_1_1", Hour(5, 8)));
    }
}
