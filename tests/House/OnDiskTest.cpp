// docs/on-disk.md gives an example byte for byte: what it says is what the library reads and
// writes.

#include <map>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

using testing::ElementsAre;

/// "e8 07 00*24  # comment", line by line, as bytes.
std::string BytesOf(const std::string& strBlock) {
    std::string strBytes;
    std::istringstream lines(strBlock);
    for (std::string strLine; std::getline(lines, strLine);) {
        std::istringstream words(strLine.substr(0, strLine.find('#')));
        for (std::string strWord; words >> strWord;) {
            const std::size_t nStar = strWord.find('*');
            const int nTimes =
                nStar == std::string::npos ? 1 : std::stoi(strWord.substr(nStar + 1));
            strBytes.append(static_cast<std::size_t>(nTimes),
                            static_cast<char>(std::stoi(strWord, nullptr, 16)));
        }
    }
    return strBytes;
}

/// The index files of the page: path below the record directory, content.
std::map<std::string, std::string> DocumentedFiles() {
    const std::string strPage = GetFile(ON_DISK_PAGE);
    const std::regex block("```index (\\S+)\n([^`]*)```");
    std::map<std::string, std::string> mFiles;
    for (std::sregex_iterator it(strPage.begin(), strPage.end(), block), end; it != end; ++it)
        mFiles[(*it)[1]] = BytesOf((*it)[2]);
    return mFiles;
}

recFileInfo Morning() {
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 5, 8, 15);
    stFile.stEndTime = BlockTime(2024, 3, 5, 8, 30);
    return stFile;
}

recFileInfo Midnight() {
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 5, 23, 50);
    stFile.stEndTime = BlockTime(2024, 3, 6, 0, 10);
    stFile.enumRecordType = RECORD_TYPE_4;
    return stFile;
}

TEST(OnDisk, TheExampleIsComplete) {
    std::map<std::string, std::size_t> mSize;
    for (const auto& [strPath, strBytes] : DocumentedFiles()) mSize[strPath] = strBytes.size();
    EXPECT_THAT(mSize, ElementsAre(std::pair("RecordFile/20240305/cam01_1_0/index03.bin", 52u),
                                   std::pair("RecordFile/20240305/front_door/index03.bin", 52u),
                                   std::pair("RecordFile/20240305/index02.bin", 192u),
                                   std::pair("RecordFile/index01.bin", 12u)));
}

// The recordings themselves are not there: a repair would find nothing, so what a query finds was
// read from these bytes.
TEST(OnDisk, TheLibraryReadsTheDocumentedBytes) {
    const CTempDir dir;
    for (const auto& [strPath, strBytes] : DocumentedFiles()) PutFile(dir / strPath, strBytes);
    CBackupHost host(dir.Path(), dir / "log");
    const std::string strDay = dir / "RecordFile/20240305/";
    EXPECT_THAT(host.Recordings("cam01_1_0"),
                ElementsAre(strDay + "cam01_1_0/20240305081500_20240305083000_1.mp4"));
    EXPECT_THAT(host.Recordings("front_door"),
                ElementsAre(strDay + "front_door/20240305235000_20240306001000_4.mp4"));
}

TEST(OnDisk, TheLibraryWritesTheDocumentedBytes) {
    const CTempDir dir;
    {
        CBackupHost host(dir.Path(), dir / "log");
        ASSERT_TRUE(host.Open("cam01_1_0", Morning()));
        ASSERT_TRUE(host.Open("front_door", Midnight()));
        EXPECT_TRUE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
    }
    for (const auto& [strPath, strBytes] : DocumentedFiles())
        EXPECT_EQ(GetFile(dir / strPath), strBytes) << strPath;
    EXPECT_FALSE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
}

}  // namespace
