// Threads that change, query and flush one index at once.

#include <atomic>
#include <thread>

#include "IndexMgr/Records.h"

namespace {

constexpr int CHANNELS = 4, FILES = 400;

std::string ChannelName(int nChannel) {
    return "cam_" + std::to_string(nChannel) + "_0";
}

// Enters all files, and takes every third out again. Every other channel has recorded on the next
// day.
void ChangeAll(CIndex& index, int nChannel) {
    const auto change = [&](int n, CIndex::IndexType eType) {
        char szName[64];
        std::snprintf(szName, sizeof(szName), "2024030%d08%02d%02d_20240306090000_1.mp4",
                      5 + nChannel % 2, n / 60, n % 60);
        Change(index, ChannelName(nChannel), szName, eType);
    };
    for (int n = 0; n < FILES; ++n) {
        change(n, CIndex::INDEX_TYPE_ADD);
        if (n % 3 == 0) change(n / 3, CIndex::INDEX_TYPE_DELETE);
    }
}

}  // namespace

// Then what is in memory is what stands on disk.
TEST(Threads, ChangesQueriesAndFlushesMeet) {
    CTempDir dir;
    CIndex index;
    ASSERT_EQ(index.Initialize(dir.Path()), 0);
    {
        std::atomic<int> nRunning{CHANNELS};
        std::vector<std::jthread> vThreads;
        for (int i = 0; i < CHANNELS; ++i) {
            fs::create_directories(
                dir / ("RecordFile/2024030" + std::to_string(5 + i % 2) + "/" + ChannelName(i)));
            vThreads.emplace_back([&, i] {
                ChangeAll(index, i);
                --nRunning;
            });
        }
        vThreads.emplace_back([&] {
            while (nRunning > 0) {
                const Paths lsPath = FindAll(index, Channel(ChannelName(1)));
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
