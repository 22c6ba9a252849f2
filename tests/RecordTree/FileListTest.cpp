// The list of one channel's recordings against a plain one, searched and sorted.

#include "RecordTree/FileList.h"
#include "RecordTree/Names.h"
#include "Support/Test.h"

namespace {

using Bodies = std::vector<indexLevel3Body>;

// Now and then with more digits than a name has, as a damaged file may hold them.
fileTimeInfo At(int nSecond, bool bTooLong) {
    const auto byte = [](int n) { return static_cast<std::uint8_t>(n); };
    const int nDay = bTooLong ? 205 : 5;
    return {2024, 3, byte(nDay), byte(nSecond / 3600), byte(nSecond / 60 % 60), byte(nSecond % 60),
            0};
}

// The definition of every comparison: that of the texts.
std::string Text(const fileTimeInfo& st) {
    char szText[64];
    std::snprintf(szText, sizeof(szText), "%04d%02d%02d%02d%02d%02d", st.wYear, st.byMonth,
                  st.byDay, st.byHour, st.byMinute, st.bySecond);
    return szText;
}

bool StartsBefore(const indexLevel3Body& a, const indexLevel3Body& b) {
    return Text(a.stStartTime) < Text(b.stStartTime);
}

// What the list promises, done the plain way: searched and sorted.
bool Change(Bodies& v, bool bRemove, const indexLevel3Body& st) {
    const auto [first, last] = std::equal_range(v.begin(), v.end(), st, StartsBefore);
    const auto it = std::find_if(first, last, [&](const auto& other) {
        return Text(other.stEndTime) == Text(st.stEndTime);
    });
    if ((it != last) != bRemove) return false;
    bRemove ? v.erase(it) : v.insert(last, st);
    return true;
}
Bodies Query(const Bodies& vAll, const fileTimeInfo& stStart, const fileTimeInfo& stEnd) {
    const std::string start = Text(stStart), end = Text(stEnd);
    Bodies v;
    std::copy_if(vAll.begin(), vAll.end(), std::back_inserter(v), [&](const auto& st) {
        const std::string from = Text(st.stStartTime), to = Text(st.stEndTime);
        if (from == to) return from == start || (from > start && from < end);
        return from < to && ((from <= start && to > start) || (from > start && to < end) ||
                             (from < end && to >= end));
    });
    return v;
}

Texts Names(const Bodies& bodies) {
    Texts v;
    for (const indexLevel3Body& st : bodies) v.push_back(GetRecFileName(st));
    return v;
}
Texts Names(const CFileList& list) {
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
        const auto at = [&](int nSecond) { return At(nSecond, below(50) == 0); };
        CFileList list;
        Bodies vModel;
        std::vector<std::pair<CFileList, Texts>> vSnapshots;
        for (int i = 0; i < 3000; ++i) {
            const int nStart = below(nSpan), nEnd = std::max(0, nStart + below(400) - 20);
            const indexLevel3Body st{at(nStart), at(nEnd), RecFileType(below(9)), {}};
            const bool bRemove = below(3) == 0;
            ASSERT_EQ(bRemove ? list.Remove(st) : list.Add(st), Change(vModel, bRemove, st));
            if (i % 500 == 0) vSnapshots.emplace_back(list, Names(vModel));
            if (i % 50 != 0) continue;
            ASSERT_EQ(Names(list), Names(vModel));
            const auto a = at(below(nSpan)), b = at(below(nSpan));
            Bodies vFound;  // also with the start after the end
            list.ForEachInQuery(a, b, [&](const auto& stFile) { vFound.push_back(stFile); });
            ASSERT_EQ(Names(vFound), Names(Query(vModel, a, b)));
        }
        for (const auto& [snapshot, vNames] : vSnapshots) {
            EXPECT_EQ(Names(snapshot), vNames) << "a copy keeps what it saw";
        }
        CFileList mended;
        std::shuffle(vModel.begin(), vModel.end(), random);
        EXPECT_EQ(mended.AppendAll(vModel.data(), vModel.size()), CFileList::Order::Mended);
        std::stable_sort(vModel.begin(), vModel.end(), StartsBefore);
        EXPECT_EQ(Names(mended), Names(vModel));
    }
}

// However hostile an index file, reading it takes no time that grows with the square of its size.
TEST(FileList, TooManyFilesOfOneSecondAreDamage) {
    CFileList list;
    Bodies vFiles(2 * CFileList::MAX_TOGETHER);
    for (std::size_t i = 0; i < vFiles.size(); ++i) {
        vFiles[i].stStartTime = At(0, false);
        vFiles[i].stEndTime = At(static_cast<int>(i), false);
    }
    EXPECT_EQ(list.AppendAll(vFiles.data(), vFiles.size()), CFileList::Order::Doubled);
    EXPECT_EQ(list.size(), CFileList::MAX_TOGETHER);
}
