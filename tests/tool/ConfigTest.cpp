// A configuration file: what it sets, what the command line overrides, and where a mistake is.

#include "Support/Test.h"
#include "base/Failure.h"
#include "help/Command.h"

namespace {

struct settings {
    configFile stFile;
    Texts vDirs;
    unsigned nSize = 256;
    bool bDelete = true, bMount = false;
    std::map<std::string, std::string> mInputs;

    std::vector<option> Options() {
        return {{.strNames = "--config", .target = &stFile, .bInConfig = false},
                {.strNames = "--dir", .target = &vDirs, .bRequired = true},
                {.strNames = "--file-size", .target = &nSize, .stRange = {1, 2048}},
                {.strNames = "--auto-delete,!--no-auto-delete", .target = &bDelete},
                {.strNames = "--require-mount", .target = &bMount}};
    }
    std::vector<option> CameraOptions(const std::string& strId) {
        return {{.strNames = "--input",
                 .target = &mInputs[strId],
                 .bRequired = true,
                 .fnShown = [](const std::string& str) { return str.substr(0, 4); }}};
    }
    /// Everything, as a file.
    std::string Text() {
        std::string strText = ConfigText(Options());
        for (const auto& [strId, strInput] : mInputs) {
            strText += "[camera." + strId + "]\n" + ConfigText(CameraOptions(strId));
        }
        return strText;
    }
    /// What is wrong, if anything.
    std::string Read(const std::string& strText, Texts vArguments) {
        const CTempDir dir;
        std::ofstream(dir / "f") << strText;
        vArguments.push_back("--config=" + (dir / "f"));
        command st;
        st.vOptions = Options();
        st.stTable = {"camera", [this](const std::string& strId, const std::string&) {
                          return CameraOptions(strId);
                      }};
        try {
            ReadArguments(st, vArguments);
        } catch (const CUsageError& error) {
            const std::string strFault = error.what();
            return strFault.substr(strFault.find("/f:") + 1);
        }
        return {};
    }
};

constexpr const char* FILE_TEXT =
    "# where\ndir = [ \"/a#1\",  # not a comment before\n  '/b \"x\"',\n]\n"
    "file-size = 64\nauto-delete = false\n\n"
    "[camera.door]\ninput = \"rtsp://h/a,b c\"\n[camera.\"a.b\"]\ninput='x#y'";

TEST(Config, SetsWhatTheCommandLineLeavesOpen) {
    settings st;
    ASSERT_EQ(st.Read(FILE_TEXT, {"--file-size=8", "--require-mount"}), "");
    EXPECT_THAT(st.vDirs, ElementsAre("/a#1", "/b \"x\""));
    EXPECT_EQ(st.nSize, 8u);
    EXPECT_FALSE(st.bDelete);
    EXPECT_TRUE(st.bMount);
    EXPECT_EQ(st.mInputs["door"], "rtsp://h/a,b c");
    EXPECT_EQ(st.mInputs["a.b"], "x#y");
    // Both can be read again, though the file has become another.
    settings stAgain;
    ASSERT_EQ(stAgain.Read("auto-delete = true\nfile-size = 9",
                           {st.stFile.vArguments.begin() + 1, st.stFile.vArguments.end()}),
              "--dir is required");
    EXPECT_EQ(stAgain.nSize, 8u);
    EXPECT_TRUE(stAgain.bDelete && stAgain.bMount);
}

TEST(Config, ShownAsAFileThatCanBeRead) {
    settings st, stAgain;
    st.Read("dir = [\"/a\", '/b\"']\n[camera.door]\ninput = \"file\"", {});
    ASSERT_EQ(stAgain.Read(st.Text(), {}), "");
    EXPECT_EQ(stAgain.Text(), st.Text());
    st.mInputs["door"] = "file+secret";
    EXPECT_THAT(st.Text(), HasSubstr("left out here:\ninput = \"file\""));
}

// A setting that is not what somebody meant is a camera that is not recorded.
TEST(Config, MistakesAreToldWithTheirLine) {
    const std::pair<const char*, const char*> ROWS[] = {
        {"\nfil-size = 3", "f:2: there is no setting \"fil-size\""},
        {"config = 'x'", "f:1: there is no setting"},
        {"file-size = 4096", "f:1: --file-size: Value 4096 not in range 1 to 2048"},
        {"file-size = [1, 2]", "f:1: "},
        {"require-mount = maybe", "f:1: "},
        {"dir = [\n'/a',\n'/b'\n\n", "f:1: a bracket is not closed"},
        {"dir = '/a'\ndir = '/b'", "f:2: dir is given twice"},
        {"dir = \"/a", "f:1: a \" is missing"},
        {"dir = \"\\\\host\"", "f:1: a text with a backslash"},
        {"dir", "f:1: a setting is written as KEY = VALUE"},
        {"dir =", "f:1: a setting is written as KEY = VALUE"},
        {"\n[camera.door]\n\n[camera.b]\ninput = 'x'", "f:2: input is missing"},
        {"[camera.a]\ninput = 'x'\n[camera.a]", "f:3: [camera.a] is given twice, first in"},
        {"[camera.a.b]\ninput = 'x'", "f:1: write this name in quotes"},
        {"[camera]", "f:1: a table is written as"},
        {"[kamera.a]", "f:1: there is no table \"kamera\""},
        {"[camera.a]\nfile-size = 3", "f:2: there is no setting \"file-size\" in [camera.a]"},
    };
    for (const auto& [pText, pExpected] : ROWS) {
        EXPECT_THAT(settings().Read(pText, {"--dir=x"}), StartsWith(pExpected)) << pText;
    }
}

}  // namespace
