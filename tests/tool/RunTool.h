// Runs the built tool as people do: a command line, in a directory of the test's own, where the
// streams that were made for these tests lie below "streams".

#ifndef LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
#define LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "Support/Test.h"

using nlohmann::json;

/// A tool at work: the process, and the file that it prints to, with ".err" behind its messages.
struct runningTool {
    pid_t nPid;
    std::string strOut;
};

inline runningTool StartTool(const std::string& strArguments, const std::string& strOut) {
    const std::string strCommand = "exec " TOOL_PATH " --log-dir log-" + strOut + " " +
                                   strArguments + " >" + strOut + " 2>" + strOut + ".err";
    const pid_t nPid = fork();
    if (nPid != 0) return {nPid, strOut};
    execl("/bin/sh", "sh", "-c", strCommand.c_str(), nullptr);
    _exit(127);
}

struct toolResult {
    int nCode;
    std::string strOut, strErr;

    /// Standard output as NDJSON.
    std::vector<json> Json() const {
        std::vector<json> vLines;
        std::istringstream lines(strOut);
        for (std::string str; std::getline(lines, str);) vLines.push_back(json::parse(str));
        return vLines;
    }
};

inline toolResult EndOf(const runningTool& st) {
    int nStatus = 0;
    waitpid(st.nPid, &nStatus, 0);
    return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus), GetFile(st.strOut),
            GetFile(st.strOut + ".err")};
}

inline toolResult Tool(const std::string& strArguments) {
    return EndOf(StartTool(strArguments, "stdout"));
}

/// Ends with this code, and a message that holds this text; returns all that it printed.
inline std::string ExpectEnd(int nCode, const std::string& strArguments,
                             const std::string& strMessage = "") {
    const toolResult st = Tool(strArguments);
    EXPECT_EQ(st.nCode, nCode) << strArguments << '\n' << st.strErr;
    EXPECT_THAT(st.strErr, HasSubstr(strMessage)) << strArguments;
    return st.strOut + st.strErr;
}

class CToolTest : public testing::Test {
protected:
    CToolTest() {
        fs::current_path(m_tmp.Path());
        setenv("TZ", "Europe/Berlin", 1);
        fs::create_directory_symlink(STREAMS_PATH, "streams");
    }
    /// While it lives nobody may read the folder: not root either, from a tool that starts now on.
    class CClosedFolder {
    public:
        explicit CClosedFolder(std::string strPath) : m_strPath(std::move(strPath)) {
            for (const int nRight : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
                prctl(PR_CAPBSET_DROP, nRight, 0, 0, 0);
            }
            fs::permissions(m_strPath, fs::perms::none);
        }
        ~CClosedFolder() { fs::permissions(m_strPath, fs::perms::owner_all); }
        CClosedFolder(const CClosedFolder&) = delete;
        CClosedFolder& operator=(const CClosedFolder&) = delete;

    private:
        const std::string m_strPath;
    };
    /// Stores six seconds of H.264 as a recording that starts then.
    static void Import(const std::string& strDir, const std::string& strStart,
                       const std::string& strCamera = "cam01") {
        ExpectEnd(0, "import --dir " + strDir + " --camera " + strCamera + " --start '" + strStart +
                         "' streams/h264.mp4");
    }

private:
    const CTempDir m_tmp;
};

#endif  // LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
