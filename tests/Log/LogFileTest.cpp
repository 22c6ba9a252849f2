#include <cerrno>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "Log/LogFile.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

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

    std::string Get(const std::string& strName) const { return GetFile(m_strDir + "/" + strName); }
    bool Has(const std::string& strName) const {
        return std::filesystem::exists(m_strDir + "/" + strName);
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
    EXPECT_EQ(Get(FIRST_W), "aaaa\nbbbb\n") << "the limit is reached exactly";
    EXPECT_TRUE(Has(SECOND));
    EXPECT_EQ(Write({"c\n", "d\n", "eeeeeee\n", "f\n"}), LOG_OK);
    EXPECT_EQ(Get(SECOND), "c\nd\n");
    EXPECT_EQ(Get(FIRST_W), "eeeeeee\nf\n");
    EXPECT_FALSE(Has(FIRST)) << "each file replaces its own predecessor";
    EXPECT_FALSE(Has(SECOND_W));
}

TEST_F(LogFileTest, WithoutCyclingTheFilesAreNumberedOn) {
    ASSERT_EQ(Start(2, false), LOG_OK);
    Write({"a\n", "b\n", "a line beyond the limit\n", "d\n"});
    EXPECT_EQ(Get(FIRST), "a\n");
    EXPECT_EQ(Get(SECOND), "b\n");
    EXPECT_EQ(Get("LocalStorage_3.log"), "a line beyond the limit\n");
    EXPECT_EQ(Get("LocalStorage_4_W.log"), "d\n");
    Start(2, true);
    Write({"e\n"});
    EXPECT_EQ(Get(SECOND_W), "e\n") << "cycling knows two files";
}

TEST_F(LogFileTest, AStartGoesOnWithTheFileThatWasBeingWritten) {
    PutFile(m_strDir + "/" + SECOND_W, "before\n");
    std::filesystem::create_directories(m_strDir + "/" + FIRST);
    std::filesystem::create_directories(m_strDir + "/LocalStorage_1_W.log.d");
    ASSERT_EQ(Start(14), LOG_OK);
    Write({"after\n", "next\n"});
    EXPECT_EQ(Get(SECOND), "before\nafter\n");
    EXPECT_EQ(Get(FIRST_W), "next\n");
}

TEST_F(LogFileTest, AnotherStartClosesTheOpenFileFirst) {
    Start();
    Write({"one\n"});
    const std::string strOther = m_dir / "a\\b";
    ASSERT_EQ(m_logFile.StartWriteFile(strOther.c_str(), 0, true), LOG_OK);
    Write({"two\n"});
    m_logFile.StopWriteFile();
    Write({"dropped\n"});
    EXPECT_EQ(Get(FIRST_W), "one\n");
    EXPECT_EQ(GetFile(m_dir / "a/b/LocalStorage_1_W.log"), "two\n");
}

TEST_F(LogFileTest, ADirectoryThatLeavesNoRoomForTheNameIsRefused) {
    struct Case {
        std::size_t nDirLength;
        bool bCycle;
        int nExpected;
    };
    Start();
    CFaultInjection faults;  // nothing is to be made here
    faults.Fail(Op::MakeDir, Any(), EACCES);
    for (const Case& c : {Case{0, true, LOG_ERR_PARAM}, Case{257, true, LOG_ERR_PARAM},
                          Case{239, true, LOG_ERR_PARAM}, Case{230, false, LOG_ERR_PARAM},
                          Case{238, true, LOG_OK}, Case{229, false, LOG_OK}}) {
        std::string strDir(c.nDirLength, '/');
        if (!strDir.empty()) strDir.back() = 'x';
        EXPECT_EQ(m_logFile.StartWriteFile(strDir.c_str(), 0, c.bCycle), c.nExpected)
            << c.nDirLength;
        if (c.nExpected != LOG_OK) Write({"x"});
    }
    EXPECT_EQ(Get(FIRST_W), "xxxx") << "a refused call changes nothing";
}

TEST_F(LogFileTest, FilesAreOpenToAllAndNeverLinks) {
    PutFile(m_dir / "target", "precious");
    Start();
    const std::string strPath = m_strDir + "/" + FIRST_W;
    ASSERT_EQ(::symlink("../target", strPath.c_str()), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({"x\n"}), LOG_ERR_OPEN_FILE);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(GetFile(m_dir / "target"), "precious");
    ::unlink(strPath.c_str());
    EXPECT_EQ(Write({"x\n"}), LOG_OK);
    EXPECT_EQ(std::filesystem::status(strPath).permissions(), std::filesystem::perms{0777});
}

TEST_F(LogFileTest, OpenFailuresAreReportedOncePerRunAndEveryLineTriesAgain) {
    CFaultInjection faults;
    Start(4);
    auto rule = faults.Fail(Op::Open, Ends(FIRST_W), EACCES).Times(3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({"1\n", "2\n", "3\n", "4\n", "5\n"}), LOG_ERR_OPEN_FILE);
    const std::string strReport = "LogService OpenFile[" + m_strDir + "/" + FIRST_W +
                                  "] failed, err [" + std::to_string(EACCES) + "]\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), strReport);
    EXPECT_EQ(rule.Seen(), 4u);
    EXPECT_EQ(Get(FIRST_W), "4\n5\n");

    faults.Fail(Op::Open, Ends(SECOND_W), EMFILE).Times(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({"6\n", "7\n"}), LOG_ERR_OPEN_FILE);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "") << "the next run is reported again";
    EXPECT_EQ(Get(SECOND_W), "7\n");
}

TEST_F(LogFileTest, AFailedRenameOrDeleteLosesNoLine) {
    CFaultInjection faults;
    faults.Fail(Op::Unlink, Any(), EIO);
    faults.Fail(Op::Rename, Ends(FIRST), EIO);
    PutFile(m_strDir + "/" + SECOND, "old");
    Start(2);
    EXPECT_EQ(Write({"a\n", "b\n"}), LOG_OK);
    EXPECT_EQ(Get(FIRST_W), "a\n");
    EXPECT_EQ(Get(SECOND_W), "b\n");
    EXPECT_EQ(Write({"c\n"}), LOG_OK);
    EXPECT_EQ(Get(SECOND), "b\n");
    EXPECT_EQ(Get(FIRST_W), "a\nc\n");
}

TEST_F(LogFileTest, AWriteFailureLosesTheLineThatBrokeOffAndNoOther) {
    CFaultInjection faults;
    Start();
    faults.ShortWrite(Ends(FIRST_W), 7).Times(1);
    faults.Fail(Op::Write, Ends(FIRST_W), ENOSPC).From(2).Times(2);
    EXPECT_EQ(Write({"1111\n", "2222\n", "3333\n", "4444\n"}), LOG_OK);
    EXPECT_EQ(Get(FIRST_W), "1111\n224444\n");
}
