#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/IndexFiles.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

namespace {

std::string Bytes(std::initializer_list<int> values) {
    std::string str;
    for (const int n : values) str.push_back(static_cast<char>(n));
    return str;
}

const std::string ZEROS(64, '\0');
const char* const FILE_NAME = "20240305080000_20240305090000_3.mp4";

// A record directory with one recording of cam_300_7 and its index files.
class IndexFiles : public testing::Test {
protected:
    void SetUp() override {
        CIndex index;
        PutFile(RecPath(m_dir.Path(), "cam_300_7", FILE_NAME));
        ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
        index.WriteIndex(Day("20240305"), Channel("cam_300_7"),
                         File("20240305080000", "20240305090000", 3), CIndex::INDEX_TYPE_ADD);
        index.Release();
        TakeLog();
    }

    bool Load(indexFileFault& fault) {
        CIndexTree tree;
        return LoadIndex(m_strFolder, IndexLength::Exact, tree, fault);
    }

    CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile";
    const std::string m_strLevel1 = m_strFolder + "/index01.bin";
    const std::string m_strLevel2 = m_strFolder + "/20240305/index02.bin";
    const std::string m_strLevel3 = m_strFolder + "/20240305/cam_300_7/index03.bin";
};

}  // namespace

TEST_F(IndexFiles, AreTheRecordsByteForByte) {
    const std::string strOne = Bytes({1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(GetFile(m_strLevel1), strOne + Bytes({0xE8, 0x07, 3, 5}));
    EXPECT_EQ(GetFile(m_strLevel2), strOne + "cam" + ZEROS.substr(0, 61) +
                                        Bytes({0x2C, 0x01, 7, 0}) + ZEROS.substr(0, 24));
    EXPECT_EQ(GetFile(m_strLevel3), strOne + Bytes({0xE8, 0x07, 3, 5, 8, 0, 0, 0}) +
                                        Bytes({0xE8, 0x07, 3, 5, 9, 0, 0, 0}) +
                                        Bytes({3, 0, 0, 0}) + ZEROS.substr(0, 24));
    EXPECT_EQ(Tree(m_strFolder).size(), 6u) << "no left-overs, no marker";
}

TEST_F(IndexFiles, ABareIdentifierIsKeptWholeAndMarked) {
    CTempDir dir;
    CIndex index;
    PutFile(RecPath(dir.Path(), "front_door", FILE_NAME));
    ASSERT_EQ(index.Initialize(dir.Path()), 0);
    index.WriteIndex(Day("20240305"), Channel("front_door"),
                     File("20240305080000", "20240305090000", 3), CIndex::INDEX_TYPE_ADD);
    index.Release();
    EXPECT_EQ(GetFile(dir / "RecordFile/20240305/index02.bin"),
              Bytes({1, 0, 0, 0, 0, 0, 0, 0}) + "front_door" + ZEROS.substr(0, 54) +
                  Bytes({0, 0, 0, 1}) + ZEROS.substr(0, 24));
}

TEST_F(IndexFiles, EveryDamageIsFoundAndNamed) {
    indexFileFault fault;
    ASSERT_TRUE(Load(fault));
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
        IndexFileError eError;
        int nLevel;
        const char* pLog;
    } cases[] = {
        {"missing", [&] { fs::remove(m_strLevel2); }, IndexFileError::NotExist, 2,
         "index02.bin not exist, strIndexLevel2Path ["},
        {"head alone", edit(m_strLevel1, [](auto& s) { s = std::string(8, '\0'); }),
         IndexFileError::Silent, 1, ""},
        {"short head", edit(m_strLevel3, [](auto& s) { s.resize(5); }), IndexFileError::Silent, 3,
         ""},
        {"empty", edit(m_strLevel3, [](auto& s) { s.clear(); }), IndexFileError::Silent, 3, ""},
        {"a byte less", edit(m_strLevel3, [](auto& s) { s.pop_back(); }), IndexFileError::Length, 3,
         "index03.bin file len wrong, strIndexLevel3Path ["},
        {"a byte more", edit(m_strLevel1, [](auto& s) { s += 'x'; }), IndexFileError::Length, 1,
         "index01.bin file len wrong, strIndexLevel1Path ["},
        {"count too high", edit(m_strLevel2, [](auto& s) { s[3] = '\x7f'; }),
         IndexFileError::Length, 2, "index02.bin file len wrong, strIndexLevel2Path ["},
        {"no NUL", edit(m_strLevel2, [](auto& s) { s.replace(8, 64, std::string(64, 'x')); }),
         IndexFileError::Element, 2, "index02.bin element wrong"},
        {"a path", edit(m_strLevel2, [](auto& s) { s.replace(8, 3, "../"); }),
         IndexFileError::Element, 2, "index02.bin element wrong"},
        {"a day twice", edit(m_strLevel1, twice(4)), IndexFileError::Element, 1, "element wrong"},
        {"a channel twice", edit(m_strLevel2, twice(92)), IndexFileError::Element, 2,
         "element wrong"},
        {"a file twice", edit(m_strLevel3, twice(44)), IndexFileError::Element, 3, "element wrong"},
        {"a folder in its place",
         [&] {
             fs::remove(m_strLevel1);
             fs::create_directory(m_strLevel1);
         },
         IndexFileError::Head, 1, "index01.bin read head fail, strIndexLevel1Path ["},
    };
    CTempDir saved;
    fs::copy(m_strFolder, saved / "good", fs::copy_options::recursive);
    for (const auto& c : cases) {
        c.damage();
        EXPECT_FALSE(Load(fault)) << c.pWhat;
        EXPECT_EQ(fault.eError, c.eError) << c.pWhat;
        EXPECT_EQ(fault.nLevel, c.nLevel) << c.pWhat;

        CIndex index;  // the damage is logged in words, and repaired from the tree
        TakeLog();
        EXPECT_EQ(index.Initialize(m_dir.Path()), 0) << c.pWhat;
        EXPECT_EQ(index.CountFiles(), 1u) << c.pWhat;
        const auto vLog = TakeLog();
        const std::size_t nCheck = c.pLog[0] == 0 ? 0 : 1;
        ASSERT_EQ(vLog.size(), nCheck + 2) << c.pWhat;
        EXPECT_NE(vLog[0].find(c.pLog), std::string::npos) << vLog[0];
        EXPECT_EQ(vLog[nCheck],
                  "[wtb][CIndex::RepairIndex] enter, m_strPrevRecPath [" + m_dir.Path() + "]");
        index.Release();
        ASSERT_TRUE(Load(fault)) << c.pWhat;

        fs::remove_all(m_strFolder);
        fs::copy(saved / "good", m_strFolder, fs::copy_options::recursive);
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
        indexFileFault fault;
        EXPECT_FALSE(Load(fault)) << c.strPath;
        EXPECT_EQ(fault.eError, IndexFileError::Element);
        PutFile(c.strPath, strGood);
    }
}

TEST_F(IndexFiles, LargerThanOnePieceReadTheSame) {
    CIndexTree tree;
    indexChannel& channel = *tree.NewChannel(*tree.NewDay(Day("20240305")), Channel("cam_300_7"));
    std::vector<indexLevel3Body> vFiles;
    for (int i = 0; i < 60000; ++i) {  // 2.6 MB
        indexLevel3Body st = File("20240305000000", "20240305235959");
        st.stStartTime.byHour = static_cast<std::uint8_t>(i / 3600);
        st.stStartTime.byMinute = static_cast<std::uint8_t>(i / 60 % 60);
        st.stStartTime.bySecond = static_cast<std::uint8_t>(i % 60);
        vFiles.push_back(st);
    }
    channel.objFiles.Change().AppendAll(vFiles.data(), vFiles.size());
    indexFileFault fault;
    ASSERT_TRUE(WriteIndexFiles(m_strFolder, tree.TakeSnapshot(0), fault));
    EXPECT_EQ(fs::file_size(m_strLevel3), 8 + 60000u * 44);

    CIndexTree read;
    ASSERT_TRUE(LoadIndex(m_strFolder, IndexLength::Exact, read, fault));
    EXPECT_EQ(read.CountFiles(), 60000u);
    fs::resize_file(m_strLevel3, fs::file_size(m_strLevel3) - 1);
    EXPECT_FALSE(Load(fault));
    EXPECT_EQ(fault.eError, IndexFileError::Length);
}

TEST_F(IndexFiles, ReadErrorsAreNamed) {
    const struct {
        Op eOp;
        IndexFileError eError;
    } cases[] = {{Op::Open, IndexFileError::Open}, {Op::Read, IndexFileError::Head}};
    for (const auto& c : cases) {
        CFaultInjection faults;
        faults.Fail(c.eOp, Ends("index03.bin"), EIO);
        indexFileFault fault;
        EXPECT_FALSE(Load(fault));
        EXPECT_EQ(fault.eError, c.eError);
        EXPECT_EQ(fault.nSystemError, EIO);
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
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    CFaultInjection faults;
    const auto opens = faults.Watch(Op::Open, Ends(".new"));
    index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 0u) << "nothing changed";
    index.WriteIndex(Day("20240305"), Channel("cam_300_7"),
                     File("20240305100000", "20240305110000", 3), CIndex::INDEX_TYPE_ADD);
    EXPECT_TRUE(fs::exists(m_strFolder + "/index.dirty"));
    index.WriteIndexToFile();
    EXPECT_EQ(opens.Seen(), 1u) << "index03.bin of the channel";
    EXPECT_FALSE(fs::exists(m_strFolder + "/index.dirty"));
    EXPECT_EQ(GetFile(m_strLevel3).size(), 8u + 2 * 44);
    index.Release();
}
