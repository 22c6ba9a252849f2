// Index files: every kind of damage, files of many pieces, flushes that fail.

#include <functional>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

std::string Bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

// A record directory with two days of cam_300_7 and its index files.
class IndexFiles : public CRecordDirTest {
protected:
    void SetUp() override {
        for (const char* pFile : {FILE_1, FILE_3}) Put("cam_300_7", pFile);
        ASSERT_EQ(Start(), 0);
    }

    const std::string m_strLevel1 = m_strFolder + "/index01.bin";
    const std::string m_strLevel2 = m_strFolder + "/20240305/index02.bin";
    const std::string m_strLevel3 = m_strFolder + "/20240305/cam_300_7/index03.bin";
};

}  // namespace

TEST_F(IndexFiles, EveryDamageIsFoundAndRepaired) {
    const auto twice = [](std::string& s, std::size_t nElement) {
        ++s[0];
        s += s.substr(8, nElement);
    };
    const struct {
        const char* pWhat;
        std::string strPath;
        std::function<void(std::string&)> damage;
        std::uint64_t nSparse = 0;  // length on disk; 0: that of the bytes
    } cases[] = {
        {"head alone", m_strLevel1, [](auto& s) { s.assign(8, '\0'); }},
        {"short head", m_strLevel3, [](auto& s) { s.resize(5); }},
        {"a byte more", m_strLevel1, [](auto& s) { s += 'x'; }},
        // Right in length, with the most elements that a count can say: 176 GiB of memory.
        {"giant", m_strLevel3,
         [](auto& s) {
             s = Bytes({255, 255, 255, 255, 0, 0, 0, 0});
         },
         8 + 0xFFFFFFFFull * 44},
        {"no NUL", m_strLevel2, [](auto& s) { s.replace(8, 64, 64, 'x'); }},
        {"a path", m_strLevel2, [](auto& s) { s.replace(8, 3, "../"); }},
        {"a day twice", m_strLevel1, [=](auto& s) { twice(s, 4); }},
        {"a channel twice", m_strLevel2, [=](auto& s) { twice(s, 92); }},
        {"a byte more on the last day", m_strFolder + "/20240306/cam_300_7/index03.bin",
         [](auto& s) { s += 'x'; }},
        {"a file twice", m_strLevel3, [=](auto& s) { twice(s, 44); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pWhat);
        const std::string strGood = GetFile(c.strPath);
        std::string strContent = strGood;
        c.damage(strContent);
        PutFile(c.strPath, strContent);
        if (c.nSparse != 0) fs::resize_file(c.strPath, c.nSparse);
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 2u);
        ASSERT_EQ(fs::file_size(c.strPath), strGood.size());
        ASSERT_EQ(GetFile(c.strPath), strGood);
    }
}

TEST_F(IndexFiles, LargerThanOnePieceReadTheSame) {
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

TEST_F(IndexFiles, OnlyWhatChangedIsWrittenAgainAndAFlushThatFailsLeavesTheMarker) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    const auto opens = faults.Watch(Op::Open, Ends(".bin"));
    Record("cam_300_7", FILE_2);
    for (const Op eOp : {Op::Open, Op::Write, Op::Sync}) {
        faults.Fail(eOp, Below(m_strFolder), EIO).Times(1);
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

TEST_F(IndexFiles, TheMarkerIsDurableBeforeTheyChangeAndTheyAreBeforeItGoes) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    const auto marker = faults.Watch(Op::Sync, Is(m_strMarker));
    const auto folder = faults.Watch(Op::Sync, Is(m_strFolder));
    const auto expect = [&](Op eOp, const PathMatch& match, std::uint64_t nFolder) {
        return faults.Before(eOp, match, [=] {
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

TEST_F(IndexFiles, WhatStandsInTheirPlaceIsReplaced) {
    ASSERT_EQ(Open(), 0);
    const std::string strGood = GetFile(m_strLevel3);
    const std::string strTarget = m_dir / "target";
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
