// Runs the built tool as a process of its own.

#ifndef LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
#define LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H

#include <chrono>
#include <fcntl.h>
#include <signal.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Support/TempDir.h"

using Arguments = std::vector<std::string>;

inline Arguments operator+(Arguments a, const Arguments& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct toolResult {
    int nCode = -1;
    std::string strOut, strErr;

    /// Standard output as NDJSON.
    std::vector<nlohmann::json> Json() const {
        std::vector<nlohmann::json> vLines;
        std::istringstream stLines(strOut);
        for (std::string strLine; std::getline(stLines, strLine);) {
            vLines.push_back(nlohmann::json::parse(strLine));
        }
        return vLines;
    }
};

/// The tool at work; what it prints goes to a file, messages to one with ".err" behind.
class CRunningTool {
public:
    CRunningTool(Arguments vArguments, const std::string& strOutFile) : m_strOutFile(strOutFile) {
        std::vector<char*> vPointers = {const_cast<char*>(TOOL_PATH)};
        for (std::string& str : vArguments) vPointers.push_back(str.data());
        vPointers.push_back(nullptr);
        const std::string strErrFile = strOutFile + ".err";
        m_nPid = fork();
        if (m_nPid != 0) return;
        constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
        dup2(open(strOutFile.c_str(), FLAGS, 0600), STDOUT_FILENO);
        dup2(open(strErrFile.c_str(), FLAGS, 0600), STDERR_FILENO);
        execv(TOOL_PATH, vPointers.data());
        _exit(127);
    }

    /// Waits until standard output holds the text; false after 20 seconds.
    bool WaitFor(const std::string& strText) const {
        for (int n = 0; n < 1000; ++n) {
            if (GetFile(m_strOutFile).find(strText) != std::string::npos) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }
    void Interrupt() const { kill(m_nPid, SIGINT); }
    /// Waits for the end.
    toolResult Result() const {
        int nStatus = 0;
        waitpid(m_nPid, &nStatus, 0);
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus),
                GetFile(m_strOutFile), GetFile(m_strOutFile + ".err")};
    }

private:
    int m_nPid = -1;
    std::string m_strOutFile;
};

/// A test with a directory of its own, into which the tool's log goes too.
class CToolTest : public ::testing::Test {
protected:
    toolResult Run(const Arguments& vArguments) const {
        return CRunningTool(Arguments{"--log-dir", m_tmp / "log"} + vArguments, m_tmp / "stdout")
            .Result();
    }
    /// One of the streams made for these tests.
    static std::string Stream(const std::string& strName) { return STREAMS_PATH "/" + strName; }
    std::string Dir(const std::string& strName = "disk") const { return m_tmp / strName; }
    /// Stores six seconds of H.264 of a camera as a recording that starts then.
    void Import(const std::string& strDir, const std::string& strStart,
                const std::string& strCamera = "cam01") const {
        const toolResult st = Run({"import", "--dir", strDir, "--camera", strCamera, "--start",
                                   strStart, Stream("h264.mp4")});
        ASSERT_EQ(st.nCode, 0) << st.strErr;
    }

    CTempDir m_tmp;
};

#endif  // LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
