#include "RunTool.h"

#include <chrono>
#include <fcntl.h>
#include <signal.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

Arguments operator+(Arguments a, const Arguments& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<nlohmann::json> toolResult::Json() const {
    std::vector<nlohmann::json> vecLines;
    std::istringstream stLines(strOut);
    for (std::string strLine; std::getline(stLines, strLine);) {
        vecLines.push_back(nlohmann::json::parse(strLine));
    }
    return vecLines;
}

CRunningTool::CRunningTool(Arguments vecArguments, const std::string& strOutFile)
    : m_strOutFile(strOutFile) {
    std::vector<char*> vecPointers = {const_cast<char*>(TOOL_PATH)};
    for (std::string& str : vecArguments) vecPointers.push_back(str.data());
    vecPointers.push_back(nullptr);
    const std::string strErrFile = strOutFile + ".err";
    m_nPid = fork();
    if (m_nPid != 0) return;
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open(strOutFile.c_str(), FLAGS, 0600), STDOUT_FILENO);
    dup2(open(strErrFile.c_str(), FLAGS, 0600), STDERR_FILENO);
    execv(TOOL_PATH, vecPointers.data());
    _exit(127);
}

bool CRunningTool::WaitFor(const std::string& strText) const {
    for (int n = 0; n < 1000; ++n) {
        if (GetFile(m_strOutFile).find(strText) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

void CRunningTool::Interrupt() const {
    if (m_nPid > 0) kill(m_nPid, SIGINT);
}

toolResult CRunningTool::Result() {
    int nStatus = 0;
    waitpid(m_nPid, &nStatus, 0);
    m_nPid = -1;
    return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus),
            GetFile(m_strOutFile), GetFile(m_strOutFile + ".err")};
}

toolResult CToolTest::Run(const Arguments& vecArguments) const {
    return CRunningTool(Arguments{"--log-dir", m_tmp / "log"} + vecArguments, m_tmp / "stdout")
        .Result();
}

void CToolTest::Import(const std::string& strDir, const std::string& strStart,
                       const std::string& strCamera) const {
    const toolResult st = Run({"import", "--dir", strDir, "--camera", strCamera, "--start",
                               strStart, Stream("h264.mp4")});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
}
