// The log files: turns, numbers, restarts, and what a failing disk costs.

#include "Log/LogFile.h"
#include "Support/FaultInjection.h"
#include "Support/Test.h"

class LogFileTest : public testing::Test {
protected:
    std::string Path(const std::string& strWhich) const {
        return m_dir / ("LocalStorage_" + strWhich + ".log");
    }

    /// A start, and lines, which end with ";" here, output at once, or in several calls, each of
    /// which ends with "|"; then "which: content" of every log file.
    Texts Output(const std::string& strCalls, std::uint32_t nSize, bool bCycle = true,
                 int nResult = LOG_OK) const {
        CLogFile logFile;
        EXPECT_EQ(logFile.StartWriteFile(m_dir.Path().c_str(), nSize, bCycle), LOG_OK);
        std::istringstream calls(strCalls);
        for (std::string strLines; std::getline(calls, strLines, '|');) {
            std::vector<std::uint16_t> vLen;
            for (std::size_t nBegin = 0, nEnd; nBegin < strLines.size(); nBegin = nEnd) {
                nEnd = strLines.find(';', nBegin) + 1;
                vLen.push_back(static_cast<std::uint16_t>(nEnd - nBegin));
            }
            EXPECT_EQ(logFile.InputDataToFile({strLines.data(), vLen}), nResult);
        }
        Texts vFiles;
        for (const auto& entry : fs::directory_iterator(m_dir.Path())) {
            const std::string strName = entry.path().stem();
            vFiles.push_back(strName.substr(strName.find('_') + 1) + ": " + GetFile(entry.path()));
        }
        return vFiles;
    }

    const CTempDir m_dir;
    CFaultInjection m_faults;
};

TEST_F(LogFileTest, TwoFilesTakeTurnsAndNoLineIsSplit) {
    PutFile(Path("2"), "old");
    EXPECT_THAT(Output("aaaa;|bbbb;|c;d;eeeeeee;f;", 10),
                UnorderedElementsAre("1_W: eeeeeee;f;", "2: c;d;"))
        << "the limit is reached exactly, and each file replaces its own predecessor";
    fs::rename(Path("1_W"), Path("2_W"));
    EXPECT_THAT(Output("g;", 0), UnorderedElementsAre("2_W: eeeeeee;f;g;"))
        << "a start goes on with the file that was being written";
}

TEST_F(LogFileTest, WithoutCyclingTheFilesAreNumberedOn) {
    EXPECT_THAT(Output("a;b;beyond the limit;d;", 2, false),
                UnorderedElementsAre("1: a;", "2: b;", "3: beyond the limit;", "4_W: d;"));
}

TEST_F(LogFileTest, EveryLineTriesAgainToOpenTheFile) {
    m_faults.Fail(Op::Open, Ends("_1_W.log"), EACCES).Times(3);
    EXPECT_THAT(Output("1;2;3;4;5;6;", 4, true, LOG_ERR_OPEN_FILE),
                UnorderedElementsAre("1: 4;5;", "2_W: 6;"));
}

TEST_F(LogFileTest, AFailedRenameOrDeleteLosesNoLine) {
    m_faults.Fail(Op::Unlink, Any(), EIO);
    m_faults.Fail(Op::Rename, Ends("_1.log"), EIO);
    EXPECT_THAT(Output("a;b;c;", 2), UnorderedElementsAre("1_W: a;c;", "2: b;"));
}

TEST_F(LogFileTest, AFailedWriteLosesTheLineThatBrokeOffAndNoOther) {
    m_faults.ShortWrite(Any(), 7).Times(1);
    m_faults.Fail(Op::Write, Any(), ENOSPC).From(2).Times(2);
    EXPECT_THAT(Output("1111;2222;3333;4444;", 0), UnorderedElementsAre("1_W: 1111;224444;"));
}

TEST_F(LogFileTest, TheDefaultDirectoryIsMadeWithTheFirstLine) {
    const auto made = m_faults.Watch(Op::MakeDir, Any());
    CLogFile logFile;
    EXPECT_EQ(logFile.StartWriteFile(nullptr, 0, true), LOG_OK);
    EXPECT_EQ(made.Seen(), 0u);
}
