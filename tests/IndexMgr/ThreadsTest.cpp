// Threads that change, query and flush one index at once.

#include "IndexMgr/Records.h"

// Then what is in memory is what stands on disk.
TEST(Threads, ChangesQueriesAndFlushesMeet) {
    constexpr int CHANNELS = 4, FILES = 400;
    CTempDir dir;
    CIndex index;
    ASSERT_EQ(index.Initialize(dir.Path()), 0);
    std::atomic<int> nRunning{CHANNELS};
    // Enters all files, and takes every third out again. Every other channel has recorded on the
    // next day.
    const auto changeAll = [&](int nChannel) {
        const std::string strChannel = "cam_" + std::to_string(nChannel) + "_0";
        const std::string strDay = "2024030" + std::to_string(5 + nChannel % 2);
        fs::create_directories(dir / ("RecordFile/" + strDay + "/" + strChannel));
        const auto change = [&](int n, CIndex::IndexType eType) {
            const std::string strStart = strDay + "0" + std::to_string(80000 + n);
            Change(index, strChannel, strStart + "_20240306090000_1.mp4", eType);
        };
        for (int n = 0; n < FILES; ++n) {
            change(n, CIndex::INDEX_TYPE_ADD);
            if (n % 3 == 0) change(n / 3, CIndex::INDEX_TYPE_DELETE);
        }
        --nRunning;
    };
    {
        std::vector<std::jthread> vThreads;
        for (int n = 0; n < CHANNELS; ++n) vThreads.emplace_back(changeAll, n);
        vThreads.emplace_back([&] {
            while (nRunning > 0) {
                const Paths lsPath = FindAll(index, Channel("cam_1_0"));
                EXPECT_TRUE(std::is_sorted(lsPath.begin(), lsPath.end()));
                dayOffer offer;
                std::vector<recordPath> vFiles;
                if (index.GetOldestDate({}, offer)) index.ListDay(offer.stDay, vFiles);
            }
        });
        while (nRunning > 0) index.WriteIndexToFile();
    }
    index.Release();
    EXPECT_FALSE(fs::exists(dir / "RecordFile/index.dirty"));
    ASSERT_EQ(index.Initialize(dir.Path()), 0);  // reads both days at once
    EXPECT_EQ(index.CountFiles(), std::size_t{CHANNELS * (FILES - (FILES + 2) / 3)});
    index.Abandon();
}
