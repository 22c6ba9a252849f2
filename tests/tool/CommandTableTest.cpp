// The command line, and that completion and man page tell all of it.

#include <gtest/gtest.h>

#include "../../tools/localstorage/Commands.h"
#include "../../tools/localstorage/OptionTable.h"

namespace {

class CommandTable : public ::testing::Test {
protected:
    CommandTable() { AddCommands(m_stApp, m_strLogDir, m_fnRun); }

    CLI::App m_stApp;
    std::string m_strLogDir;
    RunFunction m_fnRun;
};

std::string Unescaped(std::string strText) {
    for (std::size_t n; (n = strText.find("\\-")) != std::string::npos;) strText.erase(n, 1);
    return strText;
}

TEST_F(CommandTable, CompletionAndManPageHoldEveryOption) {
    const std::string strCompletion = MakeBashCompletion(m_stApp);
    const std::string strManPage = Unescaped(MakeManPage(m_stApp));
    const auto vecCommands = DescribeSubcommands(m_stApp);
    ASSERT_EQ(vecCommands.size(), 10u);
    for (const commandEntry& stCommand : vecCommands) {
        const std::size_t nWords = strCompletion.find("    " + stCommand.strName + ") words=");
        const std::size_t nSection = strManPage.find(".SS " + stCommand.strName + "\n");
        ASSERT_NE(nWords, std::string::npos);
        ASSERT_NE(nSection, std::string::npos);
        const std::string strWords =
            strCompletion.substr(nWords, strCompletion.find(";;", nWords) - nWords);
        const std::string strSection =
            strManPage.substr(nSection, strManPage.find(".SS ", nSection + 4) - nSection);
        for (const optionEntry& stOption : stCommand.vecOptions) {
            for (const std::string& strName : stOption.vecNames) {
                EXPECT_NE(strSection.find("\\fB" + strName + "\\fR"), std::string::npos)
                    << stCommand.strName << " " << strName;
                if (stOption.bPositional) continue;
                EXPECT_NE((strWords + " ").find(strName), std::string::npos)
                    << stCommand.strName << " " << strName;
            }
        }
    }
}

TEST_F(CommandTable, EveryCommandHasExamplesAndDescriptions) {
    for (const commandEntry& stCommand : DescribeSubcommands(m_stApp)) {
        EXPECT_NE(stCommand.strFooter.find("  localstorage " + stCommand.strName + " "),
                  std::string::npos)
            << stCommand.strName;
        for (const optionEntry& st : stCommand.vecOptions) {
            EXPECT_FALSE(st.strDescription.empty()) << stCommand.strName;
        }
    }
}

TEST_F(CommandTable, CommandLinesThatMakeNoSense) {
    const char* const LINES[] = {
        "",
        "nonsense",
        "query",
        "query --dir d --from nonsense",
        "query --dir d --type 9",
        "query --dir d --camera a/b",
        "record --dir d",
        "record --dir d --camera a",
        "record --dir d --camera a=",
        "record --dir d --camera =x",
        "record --dir d --camera ..=x",
        "record --dir d --camera a=x --file-size 2049",
        "record --dir d --camera a=x --pace slow",
        "record --dir d --camera a=x --duration 0",
        "record --dir d --camera a=x --delete-kind all",
        "import --dir d --camera a x",
        "import --dir d --camera a --start today --type 0 x",
        "import --dir d --camera a --start today --delete-kind pictures x",
        "export --dir d --camera a --from today -o x",
        "repair --dir d --yes",
        "dump",
    };
    for (const char* pLine : LINES) {
        EXPECT_THROW(m_stApp.parse(pLine), CLI::ParseError) << pLine;
    }
}

TEST_F(CommandTable, CommandLinesThatMakeSense) {
    const char* const LINES[] = {
        "query --dir d",
        "query --dir d --dir e --camera a --camera b --from -2h --to now --type 8 --json",
        "--log-dir l status --dir d",
        "status --dir d --log-dir l",
        "import --camera a --start today --dir d x",
        "record --dir d --camera a=rtsp://h/p?x=1 --no-auto-delete --snapshot-every 5m",
        "repair --dir d --apply --yes --keep-removed k",
        "prune --dir d --keep-free 10 --kind pictures",
        "timeline --dir d --day yesterday --svg f --ascii",
        "export --dir d --camera a --from today --to now -o f --force",
        "dump f",
    };
    for (const char* pLine : LINES) {
        m_fnRun = nullptr;
        EXPECT_NO_THROW(m_stApp.parse(pLine)) << pLine;
        EXPECT_TRUE(m_fnRun) << pLine;
    }
}

}  // namespace
