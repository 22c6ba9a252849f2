// What the pages say stands so in the sources, and is what the library reads and writes.

#include <regex>

#include "Support/Host.h"
#include "Support/Test.h"

namespace {

/// A file of the sources, or all files below a folder.
std::string Source(const std::string& strPath) {
    const std::string strFull = SOURCE_DIR "/" + strPath;
    if (!fs::is_directory(strFull)) return GetFile(strFull);
    std::string strSources;
    for (const auto& entry : fs::recursive_directory_iterator(strFull)) {
        if (entry.is_regular_file()) strSources += GetFile(entry.path());
    }
    return strSources;
}

/// What these groups of a pattern match, one behind the other, wherever it does.
Texts Found(const std::string& strText, const char* pPattern,
            const std::vector<int>& vGroups = {1}) {
    const std::regex pattern(pPattern);
    return {std::sregex_token_iterator(strText.begin(), strText.end(), pattern, vGroups),
            std::sregex_token_iterator()};
}

std::set<std::string> Unique(const Texts& vTexts) {
    return {vTexts.begin(), vTexts.end()};
}

TEST(Docs, TheReadmeHasTheExampleAndEveryCommand) {
    const std::string strReadme = Source("README.md");
    const std::string strHost = Source("examples/record_camera.cpp");
    EXPECT_NE(strReadme.find("```cpp\n" + strHost + "```\n"), std::string::npos);
    const Texts vInC = Found(strReadme, "```c\n([^`]*)```");
    ASSERT_EQ(vInC.size(), 1u);
    EXPECT_NE(Source("examples/record_camera.c").find(vInC.front()), std::string::npos);
    EXPECT_EQ(Unique(Found(strReadme, R"(\n\| `([a-z]+)` \|)")),
              Unique(Found(Source("tools/localstorage/commands"),
                           R"(command \w+\(\) \{[\s\S]*?return \{\s*"([a-z]+)\")")));
}

/// The index files of docs/on-disk.md: path below the record directory, content. Each byte may be
/// repeated ("00*24"), and a line end in a comment ("# ...").
std::map<std::string, std::string> DocumentedFiles() {
    std::map<std::string, std::string> mFiles;
    const Texts vBlocks =
        Found(Source("docs/on-disk.md"), "`(\\S+)`:\n\n```index\n([^`]*)```", {1, 2});
    for (std::size_t n = 0; n < vBlocks.size(); n += 2) {
        const Texts vBytes = Found(vBlocks[n + 1], R"(#.*|([0-9a-f]{2})(?:\*(\d+))?)", {1, 2});
        for (std::size_t i = 0; i < vBytes.size(); i += 2) {
            if (vBytes[i].empty()) continue;
            const std::size_t nTimes = vBytes[i + 1].empty() ? 1 : std::stoul(vBytes[i + 1]);
            mFiles[vBlocks[n]].append(nTimes, static_cast<char>(std::stoi(vBytes[i], nullptr, 16)));
        }
    }
    return mFiles;
}

TEST(Docs, TheLibraryWritesAndReadsTheDocumentedBytes) {
    const CTempDir dir;
    const recFileInfo stMorning =
        Recording(BlockTime(2024, 3, 5, 8, 15), BlockTime(2024, 3, 5, 8, 30));
    const recFileInfo stMidnight =
        Recording(BlockTime(2024, 3, 5, 23, 50), BlockTime(2024, 3, 6, 0, 10), RECORD_TYPE_4);
    {
        CRecordingHost host(dir.Path(), dir / "log");
        ASSERT_TRUE(host.Open("cam01_1_0", stMorning));
        ASSERT_TRUE(host.Open("front_door", stMidnight));
    }
    std::map<std::string, std::string> mWritten;
    for (const auto& entry : fs::recursive_directory_iterator(dir / "RecordFile")) {
        if (entry.path().extension() != ".bin") continue;
        mWritten[entry.path().lexically_relative(dir.Path())] = GetFile(entry.path());
    }
    EXPECT_EQ(mWritten, DocumentedFiles());

    // Without the recordings a repair would find nothing: what a query finds comes from the bytes.
    const std::string strDay = dir / "RecordFile/20240305/";
    const std::string strMorning = strDay + "cam01_1_0/20240305081500_20240305083000_1.mp4",
                      strMidnight = strDay + "front_door/20240305235000_20240306001000_4.mp4";
    EXPECT_TRUE(fs::remove(strMorning) && fs::remove(strMidnight));
    CRecordingHost host(dir.Path(), dir / "log");
    EXPECT_THAT(host.Recordings("cam01_1_0"), ElementsAre(strMorning));
    EXPECT_THAT(host.Recordings("front_door"), ElementsAre(strMidnight));
}

// ---- The blocks of the pages, and who takes them for what they say ----

/// Commands that are shown, but that no test types: why.
const std::map<std::string, const char*> SHOWN_ONLY = {
    {"script/demo", "takes long where nothing is built; ends with a check of its own"},
    {"script/test", "is what runs the tests"},
    {"cmake -S . -B build && cmake --build build && cmake --install build --prefix /usr/local",
     "builds all once more; House.install installs what is built"},
    {"script/package", "builds all once more"},
    {"apt install ./build/package/{liblocalstorage1,liblocalstorage-dev,localstorage}_*.deb",
     "needs the network; script/test-package installs them"},
};

/// Whether a test takes the block.
bool IsTaken(const std::string& strPage, const std::string& strLanguage, int nBlock) {
    const std::string strAll = "block " + strPage + " " + strLanguage;
    const std::string strOne = strAll + " " + std::to_string(nBlock);
    const auto stands = [](const char* pFile, const std::string& strWords) {
        return Source(pFile).find(strWords) != std::string::npos;
    };
    if (strLanguage == "text" || strLanguage == "console") return true;
    if (strLanguage == "cpp" || strLanguage == "c") return strPage == "README.md";  // see above
    if (strLanguage == "index") return strPage == "docs/on-disk.md";
    if (strLanguage == "toml") return stands("tests/House/install.sh", "```toml");
    if (strLanguage == "python") {
        return stands("python/tests/test_recording.py", '"' + strPage + '"');
    }
    return stands("tests/House/install.sh", strAll + " >") ||
           stands("tests/House/install.sh", strOne) || stands("tests/Pages", strOne);
}

TEST(Docs, ATestTakesEveryBlockForWhatItSays) {
    Texts vPages{"README.md", "CONTRIBUTING.md", "SECURITY.md"};
    for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/docs")) {
        const std::string strName = entry.path().filename();
        if (strName.ends_with(".md")) vPages.push_back("docs/" + strName);
    }
    std::set<std::string> shown;
    for (const std::string& strPage : vPages) {
        std::istringstream lines(Source(strPage));
        std::map<std::string, int> mBlocks;
        std::optional<std::string> strLanguage;  // of the block that the line stands in
        for (std::string strLine; std::getline(lines, strLine);) {
            if (strLine.starts_with("```")) {
                if (strLanguage) {
                    strLanguage.reset();
                    continue;
                }
                strLanguage = strLine.substr(3);
                const int nBlock = ++mBlocks[*strLanguage];
                EXPECT_TRUE(IsTaken(strPage, *strLanguage, nBlock))
                    << strPage << ": block " << nBlock << " of '" << *strLanguage << "'";
            } else if (strLanguage == "console" && strLine.starts_with("$ ")) {
                shown.insert(strLine.substr(2));
            }
        }
        EXPECT_FALSE(strLanguage) << strPage;
    }
    std::set<std::string> expected;
    for (const auto& [strCommand, pReason] : SHOWN_ONLY) expected.insert(strCommand);
    EXPECT_EQ(shown, expected);
}

}  // namespace
