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
    int Start(std::uint32_t nSize = 0, bool bCycle = true) {
        return m_logFile.StartWriteFile(m_strDir.c_str(), nSize, bCycle);
    }

    /// Outputs all lines at once.
    int Write(const std::vector<std::string>& vecLine) {
        std::string strText;
        std::vector<std::uint16_t> vecLen;
        for (const std::string& strLine : vecLine) {
            strText += strLine;
            vecLen.push_back(static_cast<std::uint16_t>(strLine.size()));
        }
        return m_logFile.InputDataToFile({strText.data(), vecLen});
    }

    /// All log files with their content.
    Files Get() const {
        Files mFile;
        for (const auto& entry : fs::directory_iterator(m_strDir)) {
            if (entry.is_regular_file()) mFile[entry.path().filename()] = GetFile(entry.path());
        }
        return mFile;
    }

    CTempDir m_dir;
    const std::string m_strDir = m_dir / "log";
    CLogFile m_logFile;
};

constexpr char FIRST_W[] = "LocalStorage_1_W.log";
constexpr char FIRST[] = "LocalStorage_1.log";
constexpr char SECOND_W[] = "LocalStorage_2_W.log";
constexpr char SECOND[] = "LocalStorage_2.log";

}  // namespace

TEST_F(LogFileTest, TwoFilesTakeTurnsAndNoLineIsSplit) {
    PutFile(m_strDir + "/" + SECOND, "old second");
    ASSERT_EQ(Start(10), LOG_OK);
    EXPECT_EQ(Write({"aaaa\n"}), LOG_OK);
    EXPECT_EQ(Write({"bbbb\n"}), LOG_OK);
    EXPECT_EQ(Get()[FIRST_W], "aaaa\nbbbb\n") << "the limit is reached exactly";
    EXPECT_EQ(fs::status(m_strDir + "/" + FIRST_W).permissions(), fs::perms{0777});
    EXPECT_EQ(Write({"c\n", "d\n", "eeeeeee\n", "f\n"}), LOG_OK);
    EXPECT_EQ(Get(), (Files{{FIRST_W, "eeeeeee\nf\n"}, {SECOND, "c\nd\n"}}))
        << "each file replaces its own predecessor";
}

TEST_F(LogFileTest, WithoutCyclingTheFilesAreNumberedOn) {
    ASSERT_EQ(Start(2, false), LOG_OK);
    Write({"a\n", "b\n", "a line beyond the limit\n", "d\n"});
    EXPECT_EQ(Get(), (Files{{FIRST, "a\n"},
                            {SECOND, "b\n"},
                            {"LocalStorage_3.log", "a line beyond the limit\n"},
                            {"LocalStorage_4_W.log", "d\n"}}));
    Start(2, true);
    Write({"e\n"});
    EXPECT_EQ(Get()[SECOND_W], "e\n") << "cycling knows two files";
}

TEST_F(LogFileTest, AStartGoesOnWithTheFileThatWasBeingWritten) {
    PutFile(m_strDir + "/" + SECOND_W, "before\n");
    fs::create_directories(m_strDir + "/" + FIRST_W);
    ASSERT_EQ(Start(), LOG_OK);
    Write({"after\n"});
    EXPECT_EQ(Get()[SECOND_W], "before\nafter\n");
}

TEST_F(LogFileTest, AnotherStartClosesTheOpenFileFirst) {
    Start();
    Write({"one\n"});
    ASSERT_EQ(m_logFile.StartWriteFile((m_dir / "a\\b").c_str(), 0, true), LOG_OK);
    Write({"two\n"});
    m_logFile.StopWriteFile();
    Write({"dropped\n"});
    EXPECT_EQ(Get()[FIRST_W], "one\n");
    EXPECT_EQ(GetFile(m_dir / "a/b/LocalStorage_1_W.log"), "two\n");
}

TEST_F(LogFileTest, ADirectoryThatLeavesNoRoomForTheNameIsRefused) {
    Start();
    CFaultInjection faults;  // nothing is to be made here
    faults.Fail(Op::MakeDir, Any(), EACCES);
    const auto start = [&](std::size_t nDirLength, bool bCycle) {
        return m_logFile.StartWriteFile(std::string(nDirLength, 'd').c_str(), 0, bCycle);
    };
    for (const std::size_t nDirLength : {0, 239, 257}) {
        EXPECT_EQ(start(nDirLength, true), LOG_ERR_PARAM) << nDirLength;
    }
    EXPECT_EQ(start(230, false), LOG_ERR_PARAM) << "the number may grow";
    Write({"x\n"});
    EXPECT_EQ(Get()[FIRST_W], "x\n") << "a refused call changes nothing";
    EXPECT_EQ(start(238, true), LOG_OK);
    EXPECT_EQ(start(229, false), LOG_OK);
}

TEST_F(LogFileTest, OpenFailuresAreReportedOncePerRunAndEveryLineTriesAgain) {
    CFaultInjection faults;
    Start(4);
    faults.Fail(Op::Open, Ends(FIRST_W), EACCES).Times(3);
    faults.Fail(Op::Open, Ends(SECOND_W), EMFILE).Times(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({"1\n", "2\n", "3\n", "4\n", "5\n", "6\n", "7\n"}), LOG_ERR_OPEN_FILE);
    const auto report = [&](const char* pName, int nError) {
        return "LogService OpenFile[" + m_strDir + "/" + pName + "] failed, err [" +
               std::to_string(nError) + "]\n";
    };
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              report(FIRST_W, EACCES) + report(SECOND_W, EMFILE));
    EXPECT_EQ(Get(), (Files{{FIRST, "4\n5\n"}, {SECOND_W, "7\n"}}));
}

TEST_F(LogFileTest, AFailedRenameOrDeleteLosesNoLine) {
    CFaultInjection faults;
    faults.Fail(Op::Unlink, Any(), EIO);
    faults.Fail(Op::Rename, Ends(FIRST), EIO);
    Start(2);
    EXPECT_EQ(Write({"a\n", "b\n", "c\n"}), LOG_OK);
    EXPECT_EQ(Get(), (Files{{FIRST_W, "a\nc\n"}, {SECOND, "b\n"}}));
}

TEST_F(LogFileTest, AWriteFailureLosesTheLineThatBrokeOffAndNoOther) {
    CFaultInjection faults;
    Start();
    faults.ShortWrite(Ends(FIRST_W), 7).Times(1);
    faults.Fail(Op::Write, Ends(FIRST_W), ENOSPC).From(2).Times(2);
    EXPECT_EQ(Write({"1111\n", "2222\n", "3333\n", "4444\n"}), LOG_OK);
    EXPECT_EQ(Get()[FIRST_W], "1111\n224444\n");
}
