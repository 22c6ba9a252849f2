#include <algorithm>
#include <list>
#include <random>

#include <gtest/gtest.h>

#include "IndexMgr/FileList.h"
#include "IndexMgr/IndexTree.h"
#include "IndexMgr/Records.h"

namespace {

std::string At(int nSecond) {
    char szText[64];
    std::snprintf(szText, sizeof(szText), "20240305%02d%02d%02d", nSecond / 3600, nSecond / 60 % 60,
                  nSecond % 60);
    return szText;
}

// What the list promises, done the plain way: a list that is searched and sorted.
class CModel {
public:
    bool Add(const indexLevel3Body& st) {
        if (std::find(m_ls.begin(), m_ls.end(), st) != m_ls.end()) return false;
        m_ls.push_back(st);
        m_ls.sort();
        return true;
    }
    bool Remove(const indexLevel3Body& st) {
        const auto it = std::find(m_ls.begin(), m_ls.end(), st);
        if (it == m_ls.end()) return false;
        m_ls.erase(it);
        return true;
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> v;
        for (const auto& st : m_ls) v.push_back(st.GetRecFileName());
        return v;
    }
    std::vector<std::string> Query(const fileTimeInfo& start, const fileTimeInfo& end) const {
        std::vector<std::string> v;
        for (const auto& st : m_ls) {
            const auto& fs = st.stStartTime;
            const auto& fe = st.stEndTime;
            if (!(fs < fe)) continue;
            if ((fs <= start && fe > start) || (fs > start && fe < end) ||
                (fs < end && fe >= end)) {
                v.push_back(st.GetRecFileName());
            }
        }
        return v;
    }

private:
    std::list<indexLevel3Body> m_ls;
};

std::vector<std::string> Names(const CFileList& list) {
    std::vector<std::string> v;
    list.ForEach([&](const indexLevel3Body& st) { v.push_back(st.GetRecFileName()); });
    return v;
}

}  // namespace

TEST(FileList, DoesWhatASearchedAndSortedListDoes) {
    for (const unsigned nSeed : {1u, 2u, 3u}) {
        std::mt19937 random(nSeed);
        // Few start times: runs of equal starts that span blocks; many: ordinary channels.
        const int nSpan = nSeed == 1 ? 5 : nSeed == 2 ? 300 : 86000;
        CFileList list;
        CModel model;
        std::vector<CFileList> snapshots;
        std::vector<std::vector<std::string>> snapshotNames;
        for (int i = 0; i < 3000; ++i) {
            const int nStart = static_cast<int>(random() % static_cast<unsigned>(nSpan));
            const int nEnd = std::max(0, nStart + static_cast<int>(random() % 400) - 20);
            const auto st = File(At(nStart), At(nEnd), static_cast<int>(random() % 9));
            const bool bRemove = random() % 3 == 0;
            ASSERT_EQ(bRemove ? list.Remove(st) : list.Add(st),
                      bRemove ? model.Remove(st) : model.Add(st));
            if (i % 500 == 0) {
                snapshots.push_back(list);
                snapshotNames.push_back(model.Names());
            }
            if (i % 50 != 0) continue;
            ASSERT_EQ(Names(list), model.Names());
            ASSERT_EQ(list.size(), model.Names().size());
            const auto a = Time(At(static_cast<int>(random() % static_cast<unsigned>(nSpan))));
            const auto b = Time(At(static_cast<int>(random() % static_cast<unsigned>(nSpan))));
            std::vector<std::string> vFound;  // also with the start after the end
            list.ForEachInQuery(a, b, [&](const auto& f) { vFound.push_back(f.GetRecFileName()); });
            ASSERT_EQ(vFound, model.Query(a, b));
        }
        for (std::size_t i = 0; i < snapshots.size(); ++i) {
            EXPECT_EQ(Names(snapshots[i]), snapshotNames[i]) << "a copy keeps what it saw";
        }
    }
}

TEST(FileList, QueryBounds) {
    const auto found = [](const char* fs, const char* fe, const char* s, const char* e) {
        return IsFileInQuery(File(fs, fe), Time(s), Time(e));
    };
    const char *t1 = "20240305080000", *t2 = "20240305090000", *t3 = "20240305100000";
    EXPECT_FALSE(found(t1, t2, t2, t3)) << "ends where the query begins";
    EXPECT_FALSE(found(t2, t3, t1, t2)) << "begins where the query ends";
    EXPECT_TRUE(found(t1, t2, t1, t2));
    EXPECT_FALSE(found(t2, t2, t1, t3)) << "no length";
    EXPECT_FALSE(found(t3, t1, t1, t3)) << "negative length";
    EXPECT_TRUE(found(t1, t3, t2, t2)) << "a query of one moment inside";
    EXPECT_TRUE(found(t1, t3, "20240305110000", t2))
        << "Deliberate: spans the end of a reversed query";
}

TEST(FileList, AppendAllKeepsMendsOrRefuses) {
    std::vector<indexLevel3Body> v;
    for (int i = 0; i < 1000; ++i) v.push_back(File(At(i * 10), At(i * 10 + 9)));
    CFileList inOrder;
    EXPECT_EQ(inOrder.AppendAll(v.data(), v.size()), CFileList::Order::Kept);
    EXPECT_EQ(inOrder.size(), 1000u);

    std::vector<indexLevel3Body> shuffled = v;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    CFileList mended;
    EXPECT_EQ(mended.AppendAll(shuffled.data(), shuffled.size()), CFileList::Order::Mended);
    EXPECT_EQ(Names(mended), Names(inOrder));

    const std::vector<indexLevel3Body> equalStarts = {File(At(5), At(9)), File(At(5), At(7))};
    CFileList stable;
    EXPECT_EQ(stable.AppendAll(equalStarts.data(), 2), CFileList::Order::Kept);
    EXPECT_EQ(Names(stable).front(), equalStarts[0].GetRecFileName());
    EXPECT_EQ(stable.AppendAll(equalStarts.data(), 1), CFileList::Order::Doubled);
}

TEST(IndexTree, SnapshotsHoldWhatChanged) {
    CIndexTree tree;
    const auto file = File("20240305080000", "20240305090000");
    for (const char* pChannel : {"z", "a_1_0"}) {
        EXPECT_TRUE(tree.Add(Day("20240305"), Channel(pChannel), file));
    }
    EXPECT_FALSE(tree.Add(Day("20240305"), Channel("a_1_0"), file));
    EXPECT_TRUE(tree.Add(Day("20240304"), Channel("z"), file));
    EXPECT_EQ(tree.GetDays().rbegin()->second.lsChannels.front().strName, "z") << "as they came";

    const std::uint64_t nVersion = tree.GetVersion();
    EXPECT_FALSE(tree.Remove(Day("20240305"), Channel("none"), file));
    EXPECT_FALSE(tree.Remove(Day("20240307"), Channel("z"), file));
    EXPECT_EQ(tree.GetVersion(), nVersion) << "nothing changed";
    EXPECT_TRUE(tree.Remove(Day("20240304"), Channel("z"), file));
    const indexSnapshot snapshot = tree.TakeSnapshot(nVersion);
    EXPECT_TRUE(snapshot.bDays);
    EXPECT_EQ(snapshot.vDays.size(), 1u);
    EXPECT_TRUE(snapshot.vChannels.empty());
    EXPECT_TRUE(snapshot.vFiles.empty());
    EXPECT_EQ(tree.TakeSnapshot(0).vFiles.size(), 2u);
}
