// Runs the built tool as a process of its own.

#ifndef LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
#define LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Support/TempDir.h"

using Arguments = std::vector<std::string>;
Arguments operator+(Arguments a, const Arguments& b);

struct toolResult {
    int nCode = -1;
    std::string strOut, strErr;

    /// Standard output as NDJSON.
    std::vector<nlohmann::json> Json() const;
};

/// The tool at work; ended with SIGINT at the latest by the destructor.
class CRunningTool {
public:
    /// What it prints goes to this file, and messages to one with ".err" behind.
    CRunningTool(Arguments vecArguments, const std::string& strOutFile);
    ~CRunningTool() { Interrupt(); }

    /// Waits until standard output holds the text; false after 20 seconds.
    bool WaitFor(const std::string& strText) const;
    void Interrupt() const;
    /// Waits for the end.
    toolResult Result();

private:
    int m_nPid = -1;
    std::string m_strOutFile;
};

/// A test with a directory of its own, into which the tool's log goes too.
class CToolTest : public ::testing::Test {
protected:
    toolResult Run(const Arguments& vecArguments) const;
    /// One of the streams made for these tests.
    static std::string Stream(const std::string& strName) { return STREAMS_PATH "/" + strName; }
    std::string Dir(const std::string& strName = "disk") const { return m_tmp / strName; }
    /// Stores six seconds of H.264 of a camera as a recording that starts then.
    void Import(const std::string& strDir, const std::string& strStart,
                const std::string& strCamera = "cam01") const;

    CTempDir m_tmp;
};

#endif  // LOCALSTORAGE_TESTS_TOOL_RUNTOOL_H
