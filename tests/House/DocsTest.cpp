// What the pages say stands so in the sources, and is what the library reads and writes.

#include <filesystem>
#include <map>
#include <regex>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

std::string Source(const std::string& strPath) {
    return GetFile(SOURCE_DIR "/" + strPath);
}

std::vector<std::smatch> AllMatches(const std::string& strText, const std::regex& pattern) {
    return {std::sregex_iterator(strText.begin(), strText.end(), pattern), {}};
}

/// What the first group of a pattern matches, wherever it does.
std::vector<std::string> Found(const std::string& strText, const char* pPattern) {
    std::vector<std::string> vFound;
    for (const std::smatch& match : AllMatches(strText, std::regex(pPattern))) {
        vFound.push_back(match[1]);
    }
    return vFound;
}

std::set<std::string> Unique(const std::vector<std::string>& vTexts) {
    return {vTexts.begin(), vTexts.end()};
}

TEST(Docs, TheReadmeHasTheExampleAndEveryCommand) {
    const std::string strReadme = Source("README.md");
    const std::string strHost = Source("examples/record_camera.cpp");
    EXPECT_NE(strReadme.find("```cpp\n" + strHost + "```\n"), std::string::npos);

    std::string strSources;
    const std::string strCommands = SOURCE_DIR "/tools/localstorage/commands";
    for (const auto& entry : std::filesystem::directory_iterator(strCommands)) {
        strSources += GetFile(entry.path());
    }
    const auto setCommands =
        Unique(Found(strSources, R"(command \w+\(\) \{[\s\S]*?return \{\s*"([a-z]+)\")"));
    EXPECT_EQ(Unique(Found(strReadme, R"(\n\| `([a-z]+)` \|)")), setCommands);
}

TEST(Docs, WordsNamesWhatIsInTheSources) {
    std::string strSources;
    for (const char* pFolder : {"/include", "/src", "/tools"}) {
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(std::string(SOURCE_DIR) + pFolder)) {
            if (entry.is_regular_file()) strSources += GetFile(entry.path());
        }
    }
    for (const std::string& strName : Found(Source("docs/words.md"), R"(`([A-Za-z_.]{6,})`)")) {
        EXPECT_NE(strSources.find(strName), std::string::npos) << strName;
    }
}

TEST(Docs, CrashesHaveTheNumbersOfTheIndexFiles) {
    const char* const pSteps = R"(\b([CFR][1-9])\b)";
    const auto setSteps = Unique(Found(Source("src/RecordTree/IndexFiles.h"), pSteps));
    EXPECT_EQ(Unique(Found(Source("docs/crash.md"), pSteps)), setSteps);
}

TEST(Docs, LocksStandInTheirOrder) {
    const std::string strHeader = Source("src/Osl/OslMutex.h");
    const auto nBegin = strHeader.find("enum class OSL_LockRank");
    const std::string strEnum = strHeader.substr(nBegin, strHeader.find('}', nBegin) - nBegin);
    const auto vRanks = Found(strEnum, R"(\n    ([A-Za-z]+))");
    EXPECT_EQ(Found(Source("docs/threads.md"), R"(\n\| `([A-Z]\w+)` \| (?:engine|record|process))"),
              vRanks);
}

/// The index files of docs/on-disk.md: path below the record directory, content. Each byte may be
/// repeated ("00*24"), and a line end in a comment ("# ...").
std::map<std::string, std::string> DocumentedFiles() {
    const std::string strPage = Source("docs/on-disk.md");
    std::map<std::string, std::string> mFiles;
    for (const std::smatch& file : AllMatches(strPage, std::regex("```index (\\S+)\n([^`]*)```"))) {
        const std::string strBlock = file[2];
        std::string& strBytes = mFiles[file[1]];
        for (const std::smatch& byte :
             AllMatches(strBlock, std::regex(R"(#.*|([0-9a-f]{2})(?:\*(\d+))?)"))) {
            if (!byte[1].matched) continue;
            const std::size_t nTimes = byte[2].matched ? std::stoul(byte[2]) : 1;
            strBytes.append(nTimes, static_cast<char>(std::stoi(byte[1], nullptr, 16)));
        }
    }
    return mFiles;
}

TEST(Docs, TheLibraryWritesAndReadsTheDocumentedBytes) {
    const CTempDir dir;
    recFileInfo stMorning, stMidnight;
    stMorning.stStartTime = BlockTime(2024, 3, 5, 8, 15);
    stMorning.stEndTime = BlockTime(2024, 3, 5, 8, 30);
    stMidnight.stStartTime = BlockTime(2024, 3, 5, 23, 50);
    stMidnight.stEndTime = BlockTime(2024, 3, 6, 0, 10);
    stMidnight.enumRecordType = RECORD_TYPE_4;
    {
        CRecordingHost host(dir.Path(), dir / "log");
        ASSERT_TRUE(host.Open("cam01_1_0", stMorning));
        ASSERT_TRUE(host.Open("front_door", stMidnight));
    }
    std::map<std::string, std::string> mWritten;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir / "RecordFile")) {
        if (entry.path().extension() != ".bin") continue;
        mWritten[entry.path().lexically_relative(dir.Path())] = GetFile(entry.path());
    }
    EXPECT_EQ(mWritten, DocumentedFiles());

    // Without the recordings a repair would find nothing: what a query finds comes from the bytes.
    const std::string strDay = dir / "RecordFile/20240305/";
    const std::string strMorning = strDay + "cam01_1_0/20240305081500_20240305083000_1.mp4",
                      strMidnight = strDay + "front_door/20240305235000_20240306001000_4.mp4";
    EXPECT_TRUE(std::filesystem::remove(strMorning) && std::filesystem::remove(strMidnight));
    CRecordingHost host(dir.Path(), dir / "log");
    EXPECT_THAT(host.Recordings("cam01_1_0"), testing::ElementsAre(strMorning));
    EXPECT_THAT(host.Recordings("front_door"), testing::ElementsAre(strMidnight));
}

}  // namespace
