// Many threads on one engine. Run under ThreadSanitizer, too.

#include "LocalStorage/EngineTest.h"

class Threads : public CEngineTest {
protected:
    static constexpr int THREADS = 8, CAMERAS = 8, ROUNDS = 4, PIECES = 20;

    static std::string Name(int nThread, int nCamera) {
        return "cam_" + std::to_string(nThread) + "_" + std::to_string(nCamera);
    }

    /// Runs the work on as many threads, each with its number.
    static void RunOn(int nThreads, const std::function<void(int)>& work) {
        std::vector<std::jthread> vThreads;
        for (int i = 0; i < nThreads; ++i) vThreads.emplace_back(work, i);
    }
    /// On eight, and meanwhile queries, measures and stores pictures.
    void RunAll(const std::function<void(int)>& work) {
        const auto vPictures = BusyThreads(1, [this](int) { Picture("cam_1_1", "jpg"); });
        const auto vObserver = BusyThreads(1, [this](int) {
            Find("cam_1_1", Time(1, 0), Time(30, 0));
            m_pEngine->GetDiskWriteSpeed();
            LastError();
        });
        RunOn(THREADS, work);
    }
};

TEST_F(Threads, SixtyFourChannelsOnEightThreads) {
    Start();
    RunAll([this](int nThread) {
        for (int nRound = 0; nRound < ROUNDS; ++nRound) {
            const recFileInfo stFile = Hour(5 + nRound, 8);
            for (int i = 0; i < CAMERAS; ++i) EXPECT_TRUE(Open(Name(nThread, i), stFile));
            for (int n = 0; n < PIECES * CAMERAS; ++n) {
                const std::string strCamera = Name(nThread, n % CAMERAS);
                EXPECT_TRUE(Write(strCamera, stFile, strCamera));
            }
            for (int i = 0; i < CAMERAS; ++i) EXPECT_TRUE(Close(Name(nThread, i), stFile));
        }
    });
    EXPECT_EQ(RecordFiles().size(), 1u * THREADS * CAMERAS * ROUNDS);
    for (const std::string& strPath : RecordFiles()) {
        const std::string strCamera = fs::path(strPath).parent_path().filename();
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
    m_pEngine->Release();  // which ends what is under way
    // What is there was made and not deleted; what was deleted is gone.
    std::multiset<std::string> setThere;
    for (const std::string& strPath : Told(MESSAGEVALUE_CREATEFILE)) setThere.insert(strPath);
    for (const std::string& strPath : Deleted()) setThere.extract(strPath);
    EXPECT_THAT(RecordFiles(), testing::ElementsAreArray(setThere));
    EXPECT_FALSE(Deleted().empty());
}

TEST_F(Threads, AChannelClosedUnderAWriterIsNeverTorn) {
    Start();
    const recFileInfo stFile = Hour(5, 8);
    {
        const auto vWriters = BusyThreads(4, [&](int) { Write("cam_1_1", stFile, "0123456789"); });
        for (int i = 0; i < 300; ++i) {
            ASSERT_TRUE(Open("cam_1_1", stFile));
            ASSERT_TRUE(Close("cam_1_1", stFile));
            EXPECT_EQ(GetFile(RecordFiles().at(0)).size() % 10, 0u);
        }
    }
    EXPECT_FALSE(Write("cam_1_1", stFile, "late"));
}

TEST(ChannelTable, AnEntryFoundByItsHashIsTakenForItsOwnChannelOnly) {
    CChannelTable table;
    const auto Insert = [&](const channelKey& key) {
        CProtectedFile objFile(table, key.strCameraID);
        table.Insert(key, nullptr, {}, objFile, 0);
    };
    const auto Find = [&](const channelKey& key) {
        const CChannelClaim claim = table.Claim({key.strCameraID, key.nStart, key.nEnd, key.nType});
        return claim ? claim.Channel().strCameraID : "none";
    };
    const channelKey one = {"one", 1, 2, 3}, other = {"one", 1, 3, 2}, third = {"third", 1, 2, 3};
    ASSERT_EQ(channelKeyHash()(one), channelKeyHash()(other));
    Insert(one);
    for (int n = 0; n < 2; ++n) {
        EXPECT_EQ(Find(one), "one");
        EXPECT_EQ(Find(other), "none");
    }
    EXPECT_TRUE(table.IsWriting("one"));
    table.ClaimAny().Remove();
    EXPECT_FALSE(table.IsWriting("one"));
    EXPECT_EQ(Find(one), "none");
    Insert(third);
    EXPECT_EQ(Find(one), "none") << "its entry is another's";
    EXPECT_EQ(Find(third), "third");
}

TEST_F(Threads, OfTwoThatOpenOneChannelOneIsRefused) {
    Start();
    for (int i = 0; i < 50; ++i) {
        std::atomic<int> nOpened = 0;
        RunOn(3, [&](int) { nOpened += Open("cam_1_1", Hour(5, 8)); });
        EXPECT_EQ(nOpened, 1);
        EXPECT_TRUE(Close("cam_1_1", Hour(5, 8)));
    }
}
