#include "RunTool.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <signal.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

int Spawn(const Arguments& vecArguments, const std::string& strOutFile,
          const std::string& strErrFile) {
    std::vector<char*> vecPointers = {const_cast<char*>(TOOL_PATH)};
    for (const std::string& str : vecArguments)
        vecPointers.push_back(const_cast<char*>(str.c_str()));
    vecPointers.push_back(nullptr);
    const int nPid = fork();
    if (nPid != 0) return nPid;
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
    dup2(open(strOutFile.c_str(), FLAGS, 0600), STDOUT_FILENO);
    dup2(open(strErrFile.c_str(), FLAGS, 0600), STDERR_FILENO);
    execv(TOOL_PATH, vecPointers.data());
    _exit(127);
}

int WaitForEnd(int nPid) {
    int nStatus = 0;
    while (waitpid(nPid, &nStatus, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
}

}  // namespace

std::vector<nlohmann::json> toolResult::Json() const {
    std::vector<nlohmann::json> vecLines;
    std::istringstream stLines(strOut);
    for (std::string strLine; std::getline(stLines, strLine);) {
        vecLines.push_back(nlohmann::json::parse(strLine));
    }
    return vecLines;
}

toolResult CToolTest::Run(const Arguments& vecArguments) const {
    Arguments vecAll = {"--log-dir", m_tmp / "log"};
    vecAll.insert(vecAll.end(), vecArguments.begin(), vecArguments.end());
    const std::string strOut = m_tmp / "stdout", strErr = m_tmp / "stderr";
    toolResult st;
    st.nCode = WaitForEnd(Spawn(vecAll, strOut, strErr));
    st.strOut = GetFile(strOut);
    st.strErr = GetFile(strErr);
    return st;
}

void CToolTest::Import(const std::string& strDir, const std::string& strStart,
                       const std::string& strCamera) const {
    const toolResult st = Run({"import", "--dir", strDir, "--camera", strCamera, "--start",
                               strStart, Stream("h264.mp4")});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
}

CBackgroundTool::CBackgroundTool(const Arguments& vecArguments, const std::string& strOutFile)
    : m_nPid(Spawn(vecArguments, strOutFile, strOutFile + ".err")), m_strOutFile(strOutFile) {}

bool CBackgroundTool::WaitFor(const std::string& strText) const {
    for (int n = 0; n < 1000; ++n) {
        if (GetFile(m_strOutFile).find(strText) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

int CBackgroundTool::Interrupt() {
    if (m_nPid < 0) return m_nCode;
    kill(m_nPid, SIGINT);
    m_nCode = WaitForEnd(m_nPid);
    m_nPid = -1;
    return m_nCode;
}
