// How often each path was asked for, how it was answered, and how long that took.

#ifndef LOCALSTORAGE_TOOL_SERVE_REQUESTCOUNTS_H
#define LOCALSTORAGE_TOOL_SERVE_REQUESTCOUNTS_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "serve/Http.h"

/// Any thread.
class CRequestCounts {
public:
    void Add(const std::string& strPath, httpStatus eStatus, double fSeconds);
    /// In the text format that Prometheus reads.
    std::string Text() const;

private:
    struct path {
        std::map<httpStatus, std::uint64_t> mAnswers;
        double fSeconds = 0;
    };
    mutable std::mutex m_mutex;
    std::map<std::string, path> m_mPaths;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_REQUESTCOUNTS_H
