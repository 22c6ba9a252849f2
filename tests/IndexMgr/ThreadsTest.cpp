// Threads that change, query and flush one index at once.

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "RecordTree/IndexFiles.h"

namespace {

constexpr int CHANNELS = 4, FILES = 400;

std::string ChannelName(int nChannel) {
    return "cam_" + std::to_string(nChannel) + "_0";
}

std::string FileName(int nFile) {
    char szName[64];
    std::snprintf(szName, sizeof(szName), "2024030508%02d%02d_20240305090000_1.mp4", nFile / 60,
                  nFile % 60);
    return szName;
}

// Enters all files, and takes every third out again.
void ChangeAll(CIndex& index, const std::string& strChannel) {
    for (int n = 0; n < FILES; ++n) {
        Change(index, strChannel, FileName(n), CIndex::INDEX_TYPE_ADD);
        if (n % 3 == 0) Change(index, strChannel, FileName(n / 3), CIndex::INDEX_TYPE_DELETE);
    }
}

}  // namespace

// Adds, deletes, queries and flushes at once; then what is in memory is what stands on disk.
TEST(Threads, ChangesQueriesAndFlushesMeet) {
    CTempDir dir;
    {
        CIndex index;
        ASSERT_EQ(index.Initialize(dir.Path()), 0);
        std::atomic<int> nRunning{CHANNELS};
        std::vector<std::thread> vThreads;
        for (int i = 0; i < CHANNELS; ++i) {
            std::filesystem::create_directories(dir / ("RecordFile/20240305/" + ChannelName(i)));
            vThreads.emplace_back([&, i] {
                ChangeAll(index, ChannelName(i));
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
        for (auto& thread : vThreads) thread.join();
        index.Release();
    }
    CIndexTree tree;
    indexFileFault fault;
    ASSERT_TRUE(LoadIndex(dir / "RecordFile", IndexLength::Exact, tree, fault));
    EXPECT_EQ(tree.CountFiles(), std::size_t{CHANNELS * (FILES - (FILES + 2) / 3)});
    EXPECT_FALSE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
}
