// The pages quote the sources: what they quote must be there, as it stands there.

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

namespace fs = std::filesystem;

std::string Source(const std::string& strPath) {
    return GetFile(SOURCE_DIR "/" + strPath);
}

/// What the first group of a pattern matches, wherever it does.
std::vector<std::string> AllMatches(const std::string& strText, const char* pPattern) {
    const std::regex pattern(pPattern);
    std::vector<std::string> vMatches;
    for (std::sregex_iterator it(strText.begin(), strText.end(), pattern), end; it != end; ++it)
        vMatches.push_back((*it)[1]);
    return vMatches;
}

std::set<std::string> Unique(const std::vector<std::string>& vTexts) {
    return {vTexts.begin(), vTexts.end()};
}

std::vector<fs::path> Pages() {
    std::vector<fs::path> vPages = {SOURCE_DIR "/README.md"};
    for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/docs")) vPages.push_back(entry);
    return vPages;
}

TEST(Docs, TheHostOfTheReadmeIsTheExample) {
    const std::string strHost = Source("examples/record_camera.cpp");
    EXPECT_NE(Source("README.md").find("```cpp\n" + strHost + "```\n"), std::string::npos);
}

TEST(Docs, LinksLeadSomewhere) {
    for (const fs::path& page : Pages()) {
        for (const std::string& strLink : AllMatches(GetFile(page), R"(\]\(([^)#]+))"))
            EXPECT_TRUE(fs::exists(page.parent_path() / strLink)) << page << " " << strLink;
    }
}

TEST(Docs, TheToolsCommandsAreAllThere) {
    std::string strSources;
    for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/tools/localstorage"))
        strSources += GetFile(entry.path());
    const auto setCommands =
        Unique(AllMatches(strSources, R"(AddCommand\(\s*stApp,\s*"([a-z]+)\")"));
    EXPECT_GE(setCommands.size(), 10u);
    EXPECT_EQ(Unique(AllMatches(Source("README.md"), R"(\n\| `([a-z]+)` \|)")), setCommands);
}

TEST(Docs, CrashesHaveTheNumbersOfTheIndexFiles) {
    const char* const pSteps = R"(\b([CFR][1-9])\b)";
    const std::string strPage = Source("docs/crash.md");
    const std::string strHeader = Source("src/Record/IndexMgr/IndexFiles.h");
    EXPECT_GE(Unique(AllMatches(strHeader, pSteps)).size(), 11u);
    EXPECT_EQ(Unique(AllMatches(strPage, pSteps)), Unique(AllMatches(strHeader, pSteps)));
    EXPECT_EQ(Unique(AllMatches(strPage, R"(\*\*\[([1-9])\]\*\*)")),
              Unique(AllMatches(strHeader, R"(\[([1-9])\])")));
}

TEST(Docs, LocksStandInTheirOrder) {
    const std::string strHeader = Source("src/Osl/OslMutex.h");
    const auto nBegin = strHeader.find("enum class OSL_LockRank");
    const std::string strEnum = strHeader.substr(nBegin, strHeader.find('}', nBegin) - nBegin);
    const auto vRanks = AllMatches(strEnum, R"(\n    ([A-Za-z]+))");
    EXPECT_GE(vRanks.size(), 9u);
    EXPECT_EQ(AllMatches(Source("docs/threads.md"),
                         R"(\n\| `([A-Z][A-Za-z]+)` \| (?:engine|record|process))"),
              vRanks);
}

}  // namespace
