#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/Records.h"
#include "Support/TempDir.h"

namespace {

constexpr int CHANNELS = 4, FILES = 400;

std::string Name(int nFile) {
    char szName[128];
    std::snprintf(szName, sizeof(szName), "20240305%02d%02d%02d_20240305%02d%02d%02d_1.mp4",
                  nFile / 3600, nFile / 60 % 60, nFile % 60, (nFile + 60) / 3600,
                  (nFile + 60) / 60 % 60, nFile % 60);
    return szName;
}

}  // namespace

// Adds, deletes, queries and flushes at once; then what is in memory is what stands on disk.
TEST(Threads, ChangesQueriesAndFlushesMeet) {
    CTempDir dir;
    std::atomic<std::size_t> nThere{0};
    const auto channel = [](int n) { return "cam_" + std::to_string(n) + "_0"; };
    {
        CIndex index;
        ASSERT_EQ(index.Initialize(dir.Path()), 0);
        for (int i = 0; i < CHANNELS; ++i) {
            std::filesystem::create_directories(dir / ("RecordFile/20240305/" + channel(i)));
        }
        std::atomic<int> nRunning{CHANNELS};
        std::vector<std::thread> vThreads;
        for (int i = 0; i < CHANNELS; ++i) {
            vThreads.emplace_back([&, i] {
                std::set<int> setThere;
                for (int n = 0; n < FILES; ++n) {
                    Change(index, channel(i), Name(n), CIndex::INDEX_TYPE_ADD);
                    setThere.insert(n);
                    if (n % 3 != 0) continue;
                    Change(index, channel(i), Name(n / 2), CIndex::INDEX_TYPE_DELETE);
                    setThere.erase(n / 2);
                }
                nThere += setThere.size();
                --nRunning;
            });
        }
        vThreads.emplace_back([&] {
            while (nRunning > 0) {
                std::list<std::string> lsPath;
                index.QueryRecFile(Channel(channel(1)), REC_FILE_TYPE_ALL, Time("20240305000000"),
                                   Time("20240305235959"), lsPath);
                EXPECT_TRUE(std::is_sorted(lsPath.begin(), lsPath.end()));
                std::string strDir;
                index.QueryOldestRecFile(strDir, lsPath);
            }
        });
        while (nRunning > 0) index.WriteIndexToFile();
        for (auto& thread : vThreads) thread.join();
        index.Release();
    }
    CIndexTree tree;
    indexFileFault fault;
    ASSERT_TRUE(LoadIndex(dir / "RecordFile", IndexLength::Exact, tree, fault));
    EXPECT_EQ(tree.CountFiles(), nThere);
    EXPECT_FALSE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
}
