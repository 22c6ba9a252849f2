// Clips that are made whole before they are sent, each in a file without a name that goes with it.

#ifndef LOCALSTORAGE_TOOL_SERVE_DOWNLOADS_H
#define LOCALSTORAGE_TOOL_SERVE_DOWNLOADS_H

#include <memory>
#include <semaphore>
#include <string>

#include "base/OpenFile.h"

class CDownloads {
public:
    /// In this directory.
    explicit CDownloads(std::string strDir) : m_strDir(std::move(strDir)) {}

    /// Room for one more. They take no more than four fifths of what is free there, and few are
    /// made at once: throws CFailure where there are as many already. Any thread.
    std::shared_ptr<COpenFile> Begin();

private:
    static constexpr int MOST = 4;

    const std::string m_strDir;
    std::counting_semaphore<MOST> m_objFree{MOST};
};

#endif  // LOCALSTORAGE_TOOL_SERVE_DOWNLOADS_H
