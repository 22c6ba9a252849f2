#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "IndexMgr/FileList.h"
#include "IndexMgr/IndexTree.h"
#include "IndexMgr/Records.h"

namespace {

using Bodies = std::vector<indexLevel3Body>;

fileTimeInfo At(int nSecond) {
    const auto byte = [](int n) { return static_cast<std::uint8_t>(n); };
    return {2024, 3, 5, byte(nSecond / 3600), byte(nSecond / 60 % 60), byte(nSecond % 60), 0};
}

// What the list promises, done the plain way: searched and sorted.
class CModel {
public:
    bool Add(const indexLevel3Body& st) {
        if (std::find(m_v.begin(), m_v.end(), st) != m_v.end()) return false;
        m_v.push_back(st);
        std::stable_sort(m_v.begin(), m_v.end());
        return true;
    }
    bool Remove(const indexLevel3Body& st) {
        const auto it = std::find(m_v.begin(), m_v.end(), st);
        if (it == m_v.end()) return false;
        m_v.erase(it);
        return true;
    }
    Bodies Query(const fileTimeInfo& start, const fileTimeInfo& end) const {
        Bodies v;
        std::copy_if(m_v.begin(), m_v.end(), std::back_inserter(v), [&](const auto& st) {
            const auto &fs = st.stStartTime, &fe = st.stEndTime;
            const bool bFound =
                (fs <= start && fe > start) || (fs > start && fe < end) || (fs < end && fe >= end);
            return fs < fe && bFound;
        });
        return v;
    }

    Bodies m_v;
};

std::vector<std::string> Names(const Bodies& bodies) {
    std::vector<std::string> v;
    for (const indexLevel3Body& st : bodies) v.push_back(st.GetRecFileName());
    return v;
}
std::vector<std::string> Names(const CFileList& list) {
    Bodies v;
    list.ForEach([&](const indexLevel3Body& st) { v.push_back(st); });
    return Names(v);
}

}  // namespace

TEST(FileList, DoesWhatASearchedAndSortedListDoes) {
    // Few start times: runs of equal starts that span blocks; many: ordinary channels.
    for (const int nSpan : {5, 300, 86000}) {
        std::mt19937 random(1);
        const auto below = [&](int n) { return static_cast<int>(random() % unsigned(n)); };
        CFileList list;
        CModel model;
        std::vector<std::pair<CFileList, std::vector<std::string>>> vSnapshots;
        for (int i = 0; i < 3000; ++i) {
            const int nStart = below(nSpan), nEnd = std::max(0, nStart + below(400) - 20);
            const indexLevel3Body st{At(nStart), At(nEnd), RecFileType(below(9)), {}};
            const bool bRemove = below(3) == 0;
            ASSERT_EQ(bRemove ? list.Remove(st) : list.Add(st),
                      bRemove ? model.Remove(st) : model.Add(st));
            if (i % 500 == 0) vSnapshots.emplace_back(list, Names(model.m_v));
            if (i % 50 != 0) continue;
            ASSERT_EQ(Names(list), Names(model.m_v));
            ASSERT_EQ(list.size(), model.m_v.size());
            const auto a = At(below(nSpan)), b = At(below(nSpan));
            Bodies vFound;  // also with the start after the end
            list.ForEachInQuery(a, b, [&](const auto& stFile) { vFound.push_back(stFile); });
            ASSERT_EQ(Names(vFound), Names(model.Query(a, b)));
        }
        for (const auto& [snapshot, vNames] : vSnapshots) {
            EXPECT_EQ(Names(snapshot), vNames) << "a copy keeps what it saw";
        }
        CFileList inOrder, mended;
        EXPECT_EQ(inOrder.AppendAll(model.m_v.data(), model.m_v.size()), CFileList::Order::Kept);
        EXPECT_EQ(Names(inOrder), Names(list));
        EXPECT_EQ(inOrder.AppendAll(&model.m_v.back(), 1), CFileList::Order::Doubled);
        std::shuffle(model.m_v.begin(), model.m_v.end(), random);
        EXPECT_EQ(mended.AppendAll(model.m_v.data(), model.m_v.size()), CFileList::Order::Mended);
        std::stable_sort(model.m_v.begin(), model.m_v.end());
        EXPECT_EQ(Names(mended), Names(model.m_v));
    }
}

TEST(IndexTree, SnapshotsHoldWhatChanged) {
    CIndexTree tree;
    const auto file = File("20240305080000", "20240305090000");
    for (const char* pChannel : {"z", "a_1_0"}) {
        EXPECT_TRUE(tree.Add(Day("20240305"), Channel(pChannel), file));
        EXPECT_FALSE(tree.Add(Day("20240305"), Channel(pChannel), file));
    }
    tree.Add(Day("20240304"), Channel("z"), file);
    EXPECT_EQ(tree.GetDays().rbegin()->second.lsChannels.front().strName, "z") << "as they came";
    const std::uint64_t nVersion = tree.GetVersion();
    EXPECT_FALSE(tree.Remove(Day("20240305"), Channel("none"), file));
    EXPECT_FALSE(tree.Remove(Day("20240307"), Channel("z"), file));
    EXPECT_EQ(tree.GetVersion(), nVersion) << "nothing changed";
    EXPECT_TRUE(tree.Remove(Day("20240304"), Channel("z"), file));
    const indexSnapshot snapshot = tree.TakeSnapshot(nVersion);
    EXPECT_TRUE(snapshot.bDays && snapshot.vChannels.empty() && snapshot.vFiles.empty());
    EXPECT_EQ(snapshot.vDays.size(), 1u);
    EXPECT_EQ(tree.TakeSnapshot(0).vFiles.size(), 2u);
    EXPECT_TRUE(tree.Remove(Day("20240305"), Channel("z"), file));
    EXPECT_EQ(tree.TakeSnapshot(snapshot.nVersion).vChannels.size(), 1u) << "a channel less";
}
