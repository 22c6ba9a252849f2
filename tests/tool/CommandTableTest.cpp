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

/// What stands in a text from one mark to the next.
std::string Between(const std::string& strText, const std::string& strFrom,
                    const std::string& strTo) {
    const std::size_t nFrom = strText.find(strFrom);
    if (nFrom == std::string::npos) return {};
    return strText.substr(nFrom, strText.find(strTo, nFrom + strFrom.size()) - nFrom);
}

TEST_F(CommandTable, CompletionAndManPageHoldEveryOption) {
    const std::string strCompletion = MakeBashCompletion(m_stApp);
    std::string strManPage = MakeManPage(m_stApp);
    for (std::size_t n; (n = strManPage.find("\\-")) != std::string::npos;) strManPage.erase(n, 1);
    const auto vecCommands = DescribeSubcommands(m_stApp);
    ASSERT_EQ(vecCommands.size(), 10u);
    for (const commandEntry& stCommand : vecCommands) {
        SCOPED_TRACE(stCommand.strName);
        const std::string strWords =
            Between(strCompletion, "    " + stCommand.strName + ") words=", ";;");
        const std::string strSection =
            Between(strManPage, ".SS " + stCommand.strName + "\n", ".SS ");
        EXPECT_NE(stCommand.strFooter.find("  localstorage " + stCommand.strName + " "),
                  std::string::npos);
        for (const optionEntry& stOption : stCommand.vecOptions) {
            EXPECT_FALSE(stOption.strDescription.empty());
            for (const std::string& strName : stOption.vecNames) {
                EXPECT_NE(strSection.find("\\fB" + strName + "\\fR"), std::string::npos) << strName;
                EXPECT_TRUE(stOption.bPositional || strWords.find(strName) != std::string::npos)
                    << strName;
            }
        }
    }
}

TEST_F(CommandTable, CommandLinesThatMakeNoSense) {
    for (const char* pLine : {
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
         }) {
        EXPECT_THROW(m_stApp.parse(pLine), CLI::ParseError) << pLine;
    }
}

// Those that no test of a command gives.
TEST_F(CommandTable, CommandLinesThatMakeSense) {
    for (const char* pLine : {
             "query --dir d --from -2h --to now --type 8",
             "status --dir d --log-dir l",
             "record --dir d --camera a=rtsp://h/p?x=1 --no-auto-delete --snapshot-every 5m",
             "import --camera a --start today --dir d --delete-kind recordings x",
             "timeline --dir d --day yesterday --ascii",
         }) {
        m_fnRun = nullptr;
        EXPECT_NO_THROW(m_stApp.parse(pLine)) << pLine;
        EXPECT_TRUE(m_fnRun) << pLine;
    }
}

}  // namespace
