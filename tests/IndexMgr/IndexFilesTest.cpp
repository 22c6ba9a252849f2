#include <functional>

#include <gtest/gtest.h>

#include "IndexMgr/IndexFiles.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

std::string Bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

const char* const FILE_NAME = "20240305080000_20240305090000_3.mp4";

// A record directory with one recording of cam_300_7 and its index files.
class IndexFiles : public CRecordDirTest {
protected:
    void SetUp() override {
        Put("cam_300_7", FILE_NAME);
        ASSERT_EQ(Start(), 0);
        TakeLog();
    }

    IndexFileError Load() {
        CIndexTree tree;
        indexFileFault fault;
        const bool bLoaded = LoadIndex(m_strFolder, IndexLength::Exact, tree, fault);
        EXPECT_EQ(bLoaded, fault.eError == IndexFileError::None);
        return fault.eError;
    }

    const std::string m_strLevel1 = m_strFolder + "/index01.bin";
    const std::string m_strLevel2 = m_strFolder + "/20240305/index02.bin";
    const std::string m_strLevel3 = m_strFolder + "/20240305/cam_300_7/index03.bin";
};

}  // namespace

TEST_F(IndexFiles, EveryDamageIsFoundNamedAndRepaired) {
    const auto twice = [](std::string& s, std::size_t nElement) {
        s[0] = 2;
        s += s.substr(8, nElement);
    };
    const struct {
        const char* pWhat;
        const std::string& strPath;
        std::function<void(std::string&)> damage;
        std::string strLog;  // empty: found without a word
    } cases[] = {
        {"head alone", m_strLevel1, [](auto& s) { s.assign(8, '\0'); }, ""},
        {"short head", m_strLevel3, [](auto& s) { s.resize(5); }, ""},
        {"empty", m_strLevel3, [](auto& s) { s.clear(); }, ""},
        {"a byte less", m_strLevel3, [](auto& s) { s.pop_back(); }, "file len wrong"},
        {"a byte more", m_strLevel1, [](auto& s) { s += 'x'; }, "file len wrong"},
        {"count too high", m_strLevel2, [](auto& s) { s[3] = '\x7f'; }, "file len wrong"},
        {"no NUL", m_strLevel2, [](auto& s) { s.replace(8, 64, 64, 'x'); }, "element wrong"},
        {"a path", m_strLevel2, [](auto& s) { s.replace(8, 3, "../"); }, "element wrong"},
        {"a day twice", m_strLevel1, [=](auto& s) { twice(s, 4); }, "element wrong"},
        {"a channel twice", m_strLevel2, [=](auto& s) { twice(s, 92); }, "element wrong"},
        {"a file twice", m_strLevel3, [=](auto& s) { twice(s, 44); }, "element wrong"},
    };
    const auto expectRepaired = [&](const std::string& strPath, const std::string& strLog) {
        TakeLog();
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 1u);
        const auto vLog = TakeLog();
        ASSERT_EQ(vLog.size(), strLog.empty() ? 2u : 3u) << "and the repair's two";
        if (strLog.empty()) return;
        EXPECT_NE(vLog[0].find(fs::path(strPath).filename().string() + " " + strLog + ", strIndex"),
                  std::string::npos)
            << vLog[0];
        EXPECT_NE(vLog[0].find("[" + strPath + "]"), std::string::npos);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pWhat);
        std::string strContent = GetFile(c.strPath);
        c.damage(strContent);
        PutFile(c.strPath, strContent);
        expectRepaired(c.strPath, c.strLog);
    }
    fs::remove(m_strLevel2);
    expectRepaired(m_strLevel2, "not exist");
    fs::remove(m_strLevel1);
    fs::create_directory(m_strLevel1);
    expectRepaired(m_strLevel1, "read head fail");
    ASSERT_EQ(Load(), IndexFileError::None);
}

TEST_F(IndexFiles, ASparseGiantIsRefusedWithoutItsMemory) {
    const std::pair<std::string, std::uint64_t> cases[] = {
        {m_strLevel1, 4}, {m_strLevel2, 92}, {m_strLevel3, 44}};
    for (const auto& [strPath, nElement] : cases) {
        const std::string strGood = GetFile(strPath);
        // Right in length, with the most elements that a count can say: 16 GiB and more.
        PutFile(strPath, Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}));
        fs::resize_file(strPath, 8 + 0xFFFFFFFFull * nElement);
        EXPECT_EQ(Load(), IndexFileError::Element) << strPath;
        PutFile(strPath, strGood);
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
    EXPECT_EQ(m_index.CountFiles(), 60000u);
    Record("cam_300_7", "20240305235958_20240305235959_1.mp4");
    m_index.WriteIndexToFile();
    strFiles[0] = 0x61;
    EXPECT_EQ(GetFile(m_strLevel3).substr(0, strFiles.size()), strFiles);
    fs::resize_file(m_strLevel3, strFiles.size());
    EXPECT_EQ(Load(), IndexFileError::Length);
}

TEST_F(IndexFiles, ReadIndexFileTellsTheElementsOfEachLevelAndErrors) {
    std::string strSeen;
    indexFileVisitor visitor;
    visitor.onDay = [&](const auto& st) { return strSeen += st.GetDirName() + " ", true; };
    visitor.onChannel = [&](const auto& st) { return strSeen += st.GetDirName() + " ", true; };
    visitor.onFile = [&](const auto& st) { return strSeen += st.GetRecFileName(), true; };
    indexFileFault fault;
    for (const auto& strPath : {m_strLevel1, m_strLevel2, m_strLevel3}) {
        EXPECT_TRUE(ReadIndexFile(strPath, visitor, fault));
    }
    EXPECT_EQ(strSeen, std::string("20240305 cam_300_7 ") + FILE_NAME);
    CFaultInjection faults;
    faults.Fail(Op::Read, Ends("index03.bin"), EIO);
    EXPECT_EQ(Load(), IndexFileError::Head);
    faults.Fail(Op::Open, Ends("index03.bin"), EIO);
    EXPECT_EQ(Load(), IndexFileError::Open);
}

TEST_F(IndexFiles, OnlyWhatChangedIsWrittenAgainAndAFlushThatFailsLeavesTheMarker) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    const auto opens = faults.Watch(Op::Open, Ends(".new"));
    m_index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 0u) << "nothing changed";
    Record("cam_300_7", FILE_2);
    const std::string strBefore = GetFile(m_strLevel3);
    for (const Op eOp : {Op::Open, Op::Write, Op::Sync, Op::Rename}) {
        faults.Fail(eOp, Below(m_strFolder), EIO).Times(1);
        m_index.WriteIndexToFile();
        EXPECT_TRUE(fs::exists(m_strMarker));
        EXPECT_EQ(GetFile(m_strLevel3), strBefore);
        EXPECT_FALSE(fs::exists(m_strLevel3 + ".new"));
    }
    m_index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 4u) << "index03.bin of the channel; nothing without a marker";
    EXPECT_FALSE(fs::exists(m_strMarker));
    EXPECT_EQ(GetFile(m_strLevel3).size(), 8u + 2 * 44);
}
