#include <functional>

#include <gtest/gtest.h>

#include "IndexMgr/IndexFiles.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

std::string Bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

const std::string ZEROS(64, '\0');
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

TEST_F(IndexFiles, AreTheRecordsByteForByte) {
    ASSERT_EQ(Open(), 0);
    Record("front_door", FILE_NAME);
    m_index.Release();
    EXPECT_EQ(GetFile(m_strLevel1), Bytes({1, 0, 0, 0, 0, 0, 0, 0, 0xE8, 0x07, 3, 5}));
    EXPECT_EQ(GetFile(m_strLevel2), Bytes({2, 0, 0, 0, 0, 0, 0, 0}) + "cam" + ZEROS.substr(0, 61) +
                                        Bytes({0x2C, 0x01, 7, 0}) + ZEROS.substr(0, 24) +
                                        "front_door" + ZEROS.substr(0, 54) + Bytes({0, 0, 0, 1}) +
                                        ZEROS.substr(0, 24));
    EXPECT_EQ(GetFile(m_strLevel3), Bytes({1, 0, 0, 0, 0, 0, 0, 0}) +
                                        Bytes({0xE8, 0x07, 3, 5, 8, 0, 0, 0}) +
                                        Bytes({0xE8, 0x07, 3, 5, 9, 0, 0, 0}) +
                                        Bytes({3, 0, 0, 0}) + ZEROS.substr(0, 24));
    EXPECT_EQ(Tree(m_strFolder).size(), 9u) << "no left-overs, no marker";
}

TEST_F(IndexFiles, EveryDamageIsFoundNamedAndRepaired) {
    const auto edit = [](const std::string& strPath, std::function<void(std::string&)> change) {
        return [=] {
            std::string str = GetFile(strPath);
            change(str);
            PutFile(strPath, str);
        };
    };
    const auto twice = [](std::size_t nElement) {
        return [=](std::string& str) {
            str[0] = 2;
            str += str.substr(8, nElement);
        };
    };
    const struct {
        const char* pWhat;
        std::function<void()> damage;
        std::string strLog;  // empty: found without a word
    } cases[] = {
        {"missing", [&] { fs::remove(m_strLevel2); }, "index02.bin not exist, strIndexLevel2Path"},
        {"head alone", edit(m_strLevel1, [](auto& s) { s = std::string(8, '\0'); }), ""},
        {"short head", edit(m_strLevel3, [](auto& s) { s.resize(5); }), ""},
        {"empty", edit(m_strLevel3, [](auto& s) { s.clear(); }), ""},
        {"a byte less", edit(m_strLevel3, [](auto& s) { s.pop_back(); }),
         "index03.bin file len wrong, strIndexLevel3Path"},
        {"a byte more", edit(m_strLevel1, [](auto& s) { s += 'x'; }),
         "index01.bin file len wrong, strIndexLevel1Path"},
        {"count too high", edit(m_strLevel2, [](auto& s) { s[3] = '\x7f'; }),
         "index02.bin file len wrong, strIndexLevel2Path"},
        {"no NUL", edit(m_strLevel2, [](auto& s) { s.replace(8, 64, std::string(64, 'x')); }),
         "index02.bin element wrong, strIndexLevel2Path"},
        {"a path", edit(m_strLevel2, [](auto& s) { s.replace(8, 3, "../"); }),
         "index02.bin element wrong"},
        {"a day twice", edit(m_strLevel1, twice(4)), "index01.bin element wrong"},
        {"a channel twice", edit(m_strLevel2, twice(92)), "index02.bin element wrong"},
        {"a file twice", edit(m_strLevel3, twice(44)), "index03.bin element wrong"},
        {"a folder in its place",
         [&] {
             fs::remove(m_strLevel1);
             fs::create_directory(m_strLevel1);
         },
         "index01.bin read head fail, strIndexLevel1Path"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pWhat);
        c.damage();
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 1u);
        const auto vLog = TakeLog();
        const std::size_t nCheck = c.strLog.empty() ? 0 : 1;
        ASSERT_EQ(vLog.size(), nCheck + 2);
        EXPECT_NE(vLog[0].find(c.strLog), std::string::npos) << vLog[0];
        EXPECT_EQ(vLog[nCheck],
                  "[wtb][CIndex::RepairIndex] enter, m_strPrevRecPath [" + m_dir.Path() + "]");
        ASSERT_EQ(Load(), IndexFileError::None);
    }
}

TEST_F(IndexFiles, ASparseGiantIsRefusedWithoutItsMemory) {
    const struct {
        std::string strPath;
        std::uint64_t nElement;
    } cases[] = {{m_strLevel1, 4}, {m_strLevel2, 92}, {m_strLevel3, 44}};
    for (const auto& c : cases) {
        const std::string strGood = GetFile(c.strPath);
        // Right in length, with the most elements that a count can say: 16 GiB and more.
        PutFile(c.strPath, Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}));
        fs::resize_file(c.strPath, 8 + 0xFFFFFFFFull * c.nElement);
        EXPECT_EQ(Load(), IndexFileError::Element) << c.strPath;
        PutFile(c.strPath, strGood);
    }
}

TEST_F(IndexFiles, LargerThanOnePieceReadTheSame) {
    std::string strFiles = Bytes({0x60, 0xEA, 0, 0, 0, 0, 0, 0});  // 60000 of them, 2.6 MB
    for (int i = 0; i < 60000; ++i) {
        const int nMinute = i / 60;
        strFiles += Bytes({0xE8, 0x07, 3, 5, nMinute / 60, nMinute % 60, i % 60, 0}) +
                    Bytes({0xE8, 0x07, 3, 5, 23, 59, 59, 0, 1, 0, 0, 0}) + ZEROS.substr(0, 24);
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

TEST_F(IndexFiles, ReadErrorsAreNamed) {
    const struct {
        Op eOp;
        IndexFileError eError;
    } cases[] = {{Op::Open, IndexFileError::Open}, {Op::Read, IndexFileError::Head}};
    for (const auto& c : cases) {
        CFaultInjection faults;
        faults.Fail(c.eOp, Ends("index03.bin"), EIO);
        EXPECT_EQ(Load(), c.eError);
    }
}

TEST_F(IndexFiles, ReadIndexFileTellsTheElementsOfEachLevel) {
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
}

TEST_F(IndexFiles, OnlyWhatChangedIsWrittenAgain) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    const auto opens = faults.Watch(Op::Open, Ends(".new"));
    m_index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 0u) << "nothing changed";
    Record("cam_300_7", FILE_2);
    EXPECT_TRUE(fs::exists(m_strMarker));
    m_index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 1u) << "index03.bin of the channel";
    EXPECT_FALSE(fs::exists(m_strMarker));
    EXPECT_EQ(GetFile(m_strLevel3).size(), 8u + 2 * 44);
}
