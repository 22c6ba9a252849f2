// The log files: turns, numbers, restarts, and what a failing disk costs.

#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Log/LogFile.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

namespace {

using Files = std::map<std::string, std::string>;

class LogFileTest : public testing::Test {
protected:
    void Start(std::uint32_t nSize = 0, bool bCycle = true) {
        ASSERT_EQ(m_logFile.StartWriteFile(m_dir.Path().c_str(), nSize, bCycle), LOG_OK);
    }

    /// Outputs all lines at once.
    int Write(const std::vector<std::string>& vLine) {
        std::string strText;
        std::vector<std::uint16_t> vLen;
        for (const std::string& strLine : vLine) {
            strText += strLine;
            vLen.push_back(static_cast<std::uint16_t>(strLine.size()));
        }
        return m_logFile.InputDataToFile({strText.data(), vLen});
    }

    /// All log files with their content.
    Files Get() const {
        Files mFile;
        for (const auto& entry : fs::directory_iterator(m_dir.Path())) {
            if (entry.is_regular_file()) mFile[entry.path().filename()] = GetFile(entry.path());
        }
        return mFile;
    }

    CTempDir m_dir;
    CLogFile m_logFile;
    CFaultInjection m_faults;
};

constexpr char FIRST_W[] = "LocalStorage_1_W.log";
constexpr char FIRST[] = "LocalStorage_1.log";
constexpr char SECOND_W[] = "LocalStorage_2_W.log";
constexpr char SECOND[] = "LocalStorage_2.log";

}  // namespace

TEST_F(LogFileTest, TwoFilesTakeTurnsAndNoLineIsSplit) {
    PutFile(m_dir / SECOND, "old second");
    Start(10);
    EXPECT_EQ(Write({"aaaa\n"}), LOG_OK);
    EXPECT_EQ(Write({"bbbb\n"}), LOG_OK);
    EXPECT_EQ(Get()[FIRST_W], "aaaa\nbbbb\n") << "the limit is reached exactly";
    EXPECT_EQ(Write({"c\n", "d\n", "eeeeeee\n", "f\n"}), LOG_OK);
    EXPECT_EQ(Get(), (Files{{FIRST_W, "eeeeeee\nf\n"}, {SECOND, "c\nd\n"}}))
        << "each file replaces its own predecessor";
}

TEST_F(LogFileTest, WithoutCyclingTheFilesAreNumberedOn) {
    Start(2, false);
    Write({"a\n", "b\n", "a line beyond the limit\n", "d\n"});
    EXPECT_EQ(Get(), (Files{{FIRST, "a\n"},
                            {SECOND, "b\n"},
                            {"LocalStorage_3.log", "a line beyond the limit\n"},
                            {"LocalStorage_4_W.log", "d\n"}}));
}

TEST_F(LogFileTest, AStartGoesOnWithTheFileThatWasBeingWritten) {
    PutFile(m_dir / SECOND_W, "before\n");
    Start();
    Write({"after\n"});
    EXPECT_EQ(Get(), (Files{{SECOND_W, "before\nafter\n"}}));
}

TEST_F(LogFileTest, EveryLineTriesAgainToOpenTheFile) {
    Start(4);
    m_faults.Fail(Op::Open, Ends(FIRST_W), EACCES).Times(3);
    EXPECT_EQ(Write({"1\n", "2\n", "3\n", "4\n", "5\n", "6\n"}), LOG_ERR_OPEN_FILE);
    EXPECT_EQ(Get(), (Files{{FIRST, "4\n5\n"}, {SECOND_W, "6\n"}}));
}

TEST_F(LogFileTest, AFailedRenameOrDeleteLosesNoLine) {
    m_faults.Fail(Op::Unlink, Any(), EIO);
    m_faults.Fail(Op::Rename, Ends(FIRST), EIO);
    Start(2);
    EXPECT_EQ(Write({"a\n", "b\n", "c\n"}), LOG_OK);
    EXPECT_EQ(Get(), (Files{{FIRST_W, "a\nc\n"}, {SECOND, "b\n"}}));
}

TEST_F(LogFileTest, AWriteFailureLosesTheLineThatBrokeOffAndNoOther) {
    Start();
    m_faults.ShortWrite(Ends(FIRST_W), 7).Times(1);
    m_faults.Fail(Op::Write, Ends(FIRST_W), ENOSPC).From(2).Times(2);
    EXPECT_EQ(Write({"1111\n", "2222\n", "3333\n", "4444\n"}), LOG_OK);
    EXPECT_EQ(Get()[FIRST_W], "1111\n224444\n");
}
