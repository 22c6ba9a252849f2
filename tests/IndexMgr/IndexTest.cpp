// The live index of one directory: its files, its flushes, days that go, and its marker.

#include <sys/stat.h>
#include <unistd.h>

#include "IndexMgr/Records.h"

namespace {

std::string Bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

}  // namespace

class Index : public CRecordDirTest {
protected:
    /// Two days of cam_300_7 and their index files.
    void PutTwoDays() {
        for (const char* pFile : {FILE_1, FILE_3}) Put("cam_300_7", pFile);
        ASSERT_EQ(Start(), 0);
    }
    /// A recording of which the index files know nothing, and no marker that would say so.
    void PutUnknown() {
        ASSERT_EQ(Open(), 0);
        Record("cam_1_0", FILE_1);
        m_index.Release();
        Put("cam_1_0", FILE_2);
    }

    const std::string m_strLevel1 = m_strFolder + "/index01.bin";
    const std::string m_strLevel2 = m_strFolder + "/20240305/index02.bin";
    const std::string m_strLevel3 = m_strFolder + "/20240305/cam_300_7/index03.bin";
};

TEST_F(Index, EveryDamageOfAFileIsFoundAndRepaired) {
    PutTwoDays();
    const auto twice = [](std::size_t nElement) {
        return [=](std::string& s) {
            ++s[0];
            s += s.substr(8, nElement);
        };
    };
    const auto byteMore = [](std::string& s) { s += 'x'; };
    // Right in length, with the most elements that a count can say: 176 GiB of memory.
    const auto giant = [](std::string& s) { s = Bytes({255, 255, 255, 255, 0, 0, 0, 0}); };
    constexpr std::uint64_t GIANT = 8 + 0xFFFFFFFFull * 44;
    const struct {
        const char* pWhat;
        std::string strPath;
        std::function<void(std::string&)> damage;
    } cases[] = {
        {"head alone", m_strLevel1, [](auto& s) { s.assign(8, '\0'); }},
        {"short head", m_strLevel3, [](auto& s) { s.resize(5); }},
        {"a byte more", m_strLevel1, byteMore},
        {"a byte more on the last day", m_strFolder + "/20240306/cam_300_7/index03.bin", byteMore},
        {"giant", m_strLevel3, giant},
        {"no NUL", m_strLevel2, [](auto& s) { s.replace(8, 64, 64, 'x'); }},
        {"a path", m_strLevel2, [](auto& s) { s.replace(8, 3, "../"); }},
        {"a day twice", m_strLevel1, twice(4)},
        {"a channel twice", m_strLevel2, twice(92)},
        {"a file twice", m_strLevel3, twice(44)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pWhat);
        const std::string strGood = GetFile(c.strPath);
        std::string strContent = strGood;
        c.damage(strContent);
        PutFile(c.strPath, strContent);
        if (c.pWhat == std::string("giant")) fs::resize_file(c.strPath, GIANT);
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 2u);
        ASSERT_EQ(fs::file_size(c.strPath), strGood.size());
        ASSERT_EQ(GetFile(c.strPath), strGood);
    }
}

TEST_F(Index, AFileLargerThanOnePieceReadsTheSame) {
    PutTwoDays();
    std::string strFiles = Bytes({0x60, 0xEA, 0, 0, 0, 0, 0, 0});  // 60000 of them, 2.6 MB
    for (int i = 0; i < 60000; ++i) {
        strFiles += Bytes({0xE8, 0x07, 3, 5, i / 3600, i / 60 % 60, i % 60, 0}) +
                    Bytes({0xE8, 0x07, 3, 5, 23, 59, 59, 0, 1, 0, 0, 0}) + std::string(24, '\0');
    }
    PutFile(m_strLevel3, strFiles);
    ASSERT_EQ(Open(), 0);
    Record("cam_300_7", "20240305235958_20240305235959_1.mp4");
    m_index.WriteIndexToFile();
    strFiles[0] = 0x61;
    EXPECT_EQ(GetFile(m_strLevel3).substr(0, strFiles.size()), strFiles);
}

TEST_F(Index, OnlyWhatChangedIsWrittenAgainAndAFlushThatFailsLeavesTheMarker) {
    PutTwoDays();
    ASSERT_EQ(Open(), 0);
    const auto opens = m_faults.Watch(Op::Open, Ends(".bin"));
    Record("cam_300_7", FILE_2);
    for (const Op eOp : {Op::Open, Op::Write, Op::Sync}) {
        m_faults.Fail(eOp, Below(m_strFolder), EIO).Times(1);
        m_index.WriteIndexToFile();
        EXPECT_TRUE(fs::exists(m_strMarker));
        EXPECT_EQ(fs::file_size(m_strLevel3), 8u + 44);
    }
    m_index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 2u) << "index03.bin of the channel; nothing without a marker";
    EXPECT_FALSE(fs::exists(m_strMarker));
    EXPECT_EQ(fs::file_size(m_strLevel3), 8u + 2 * 44);
    Delete("cam_300_7", FILE_2);
    m_index.WriteIndexToFile();
    EXPECT_EQ(fs::file_size(m_strLevel3), 8u + 44);
}

TEST_F(Index, TheMarkerIsDurableBeforeTheFilesChangeAndTheyAreBeforeItGoes) {
    PutTwoDays();
    ASSERT_EQ(Open(), 0);
    const auto marker = m_faults.Watch(Op::Sync, Is(m_strMarker));
    const auto folder = m_faults.Watch(Op::Sync, Is(m_strFolder));
    const auto expect = [&](Op eOp, const PathMatch& match, std::uint64_t nFolder) {
        return m_faults.Before(eOp, match, [=] {
            EXPECT_EQ(marker.Seen(), 1u);
            EXPECT_EQ(folder.Seen(), nFolder);
        });
    };
    const auto writes = expect(Op::Write, Ends(".bin"), 1);
    const auto removal = expect(Op::Unlink, Is(m_strMarker), 2);
    Record("cam_1_0", "20240307080000_20240307090000_1.mp4");
    m_index.WriteIndexToFile();
    EXPECT_EQ(writes.Seen(), 3u);
    EXPECT_EQ(removal.Seen(), 1u);
}

TEST_F(Index, WhatStandsInAFilesPlaceIsReplaced) {
    PutTwoDays();
    ASSERT_EQ(Open(), 0);
    const std::string strGood = GetFile(m_strLevel3), strTarget = m_dir / "target";
    PutFile(strTarget, "precious");
    for (const bool bLink : {true, false}) {
        fs::remove(m_strLevel3);
        ASSERT_EQ(bLink ? ::symlink(strTarget.c_str(), m_strLevel3.c_str())
                        : ::mkfifo(m_strLevel3.c_str(), 0600),
                  0);
        Record("cam_300_7", FILE_2);
        Delete("cam_300_7", FILE_2);
        m_index.WriteIndexToFile();
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_strLevel3)));
        EXPECT_EQ(GetFile(m_strLevel3), strGood);
    }
    EXPECT_EQ(GetFile(strTarget), "precious");
}

TEST_F(Index, AFlushDuringAChangeLeavesTheMarkerAndMakesItAgain) {
    ASSERT_EQ(Open(), 0);
    m_faults.Before(Op::Sync, Any(), [this] { Record("cam_1_0", FILE_2); });
    Record("cam_1_0", FILE_1);
    m_index.WriteIndexToFile();
    EXPECT_TRUE(fs::exists(m_strMarker));
    m_faults.ClearRules();
    fs::remove(m_strMarker);
    m_index.BeginChange();
    Put("cam_1_0", FILE_3);
    m_index.WriteIndexToFile();
    EXPECT_TRUE(fs::exists(m_strMarker));
    m_index.Abandon();                                    // killed before the entry came
    m_faults.Fail(Op::Access, Ends("/RecordFile"), EIO);  // a folder that is there all the same
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
}

TEST_F(Index, AFirstDayWhoseFolderIsGoneLeavesTheIndexAndTheQueryFailsThatOnce) {
    ASSERT_EQ(Open(), 0);
    for (const char* pFile : {FILE_1, FILE_3}) Record("cam_1_0", pFile);
    fs::remove_all(m_strFolder + "/20240305");
    dayOffer offer;
    EXPECT_FALSE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(m_index.CountFiles(), 1u);
    EXPECT_TRUE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(offer.stDay.Path(), m_strFolder + "/20240306");
    m_faults.Fail(Op::Stat, Ends("20240306"), EIO);  // one that cannot be asked is not gone
    EXPECT_FALSE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(m_index.CountFiles(), 1u);
}

TEST_F(Index, AMarkerStandsWhateverHasItsNameAndIsNeverOpenedThroughALink) {
    PutUnknown();
    const std::string strOutside = m_dir / "outside";
    PutFile(strOutside, "precious");
    const std::function<void()> kinds[] = {
        [&] { fs::create_symlink(strOutside, m_strMarker); },
        [&] { fs::create_symlink("nowhere", m_strMarker); },
        [&] { ::mkfifo(m_strMarker.c_str(), 0666); },
        [&] { PutFile(m_strMarker + "/x"); },
    };
    std::size_t nFiles = 2;
    for (const auto& make : kinds) {
        SCOPED_TRACE(&make - kinds);
        make();
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, nFiles) << "the start repaired";
        EXPECT_FALSE(fs::exists(fs::symlink_status(m_strMarker)));
        CIndex index;
        ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
        make();
        index.BeginChange();
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_strMarker)));
        index.EndChange();
        index.Release();
        Put("cam_1_0", "2024030600000" + std::to_string(++nFiles) + "_20240306090000_1.mp4");
    }
    EXPECT_EQ(GetFile(strOutside), "precious");
}

TEST_F(Index, WhatItDoesNotKnowIsFoundAtAStart) {
    PutUnknown();
    // A read-only disk without an index needs no marker.
    fs::remove(m_strLevel1);
    for (const Op eOp : {Op::Unlink, Op::Open}) {
        m_faults.Fail(
            eOp, [](const auto& strPath) { return strPath.find("index") != strPath.npos; }, EROFS);
    }
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
    m_faults.ClearRules();

    // A marker that cannot be asked for counts as standing.
    EXPECT_EQ(Start(), 0);
    Put("cam_1_0", FILE_3);
    PutFile(m_strMarker);
    m_faults.Fail(Op::Stat, Is(m_strMarker), EIO);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
    m_faults.ClearRules();

    // A marker outlives a run whose repair failed; the files are better than nothing.
    Put("front_door", FILE_1);
    PutFile(m_strMarker);
    fs::rename(m_strFolder, m_dir / BACKUP_FOLDER);
    m_faults.Fail(Op::ReadDir, Any(), EIO);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
    m_faults.ClearRules();
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 4u);
}
