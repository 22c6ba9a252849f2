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
    const std::string strPage = GetFile(SOURCE_DIR "/docs/on-disk.md");
    const std::regex block("```index (\\S+)\n([^`]*)```");
    std::map<std::string, std::string> mFiles;
    for (std::sregex_iterator it(strPage.begin(), strPage.end(), block), end; it != end; ++it)
        mFiles[(*it)[1]] = BytesOf((*it)[2]);
    return mFiles;
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
    recFileInfo stMorning, stMidnight;
    stMorning.stStartTime = BlockTime(2024, 3, 5, 8, 15);
    stMorning.stEndTime = BlockTime(2024, 3, 5, 8, 30);
    stMidnight.stStartTime = BlockTime(2024, 3, 5, 23, 50);
    stMidnight.stEndTime = BlockTime(2024, 3, 6, 0, 10);
    stMidnight.enumRecordType = RECORD_TYPE_4;
    {
        CBackupHost host(dir.Path(), dir / "log");
        ASSERT_TRUE(host.Open("cam01_1_0", stMorning));
        ASSERT_TRUE(host.Open("front_door", stMidnight));
        EXPECT_TRUE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
    }
    std::map<std::string, std::string> mWritten;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir / "RecordFile")) {
        if (entry.path().extension() != ".bin") continue;
        mWritten[entry.path().lexically_relative(dir.Path())] = GetFile(entry.path());
    }
    EXPECT_EQ(mWritten, DocumentedFiles());
    EXPECT_FALSE(std::filesystem::exists(dir / "RecordFile/index.dirty"));
}

}  // namespace
