// The video of a camera that is asked for: sent while it is joined, or made whole first.

#ifndef LOCALSTORAGE_TOOL_SERVE_CLIPS_H
#define LOCALSTORAGE_TOOL_SERVE_CLIPS_H

#include <atomic>
#include <string>

#include "serve/Downloads.h"
#include "serve/Http.h"
#include "serve/Search.h"

class CClipTarget;
class CParameterReader;

/// Any thread.
class CClips {
public:
    /// Downloads are made in `strTempDir`. `bStop` ends what takes long.
    CClips(const CDisks& objDisks, const CSearch& objSearch, const std::string& strTempDir,
           const std::atomic<bool>& bStop)
        : m_objDisks(objDisks),
          m_objSearch(objSearch),
          m_objDownloads(strTempDir),
          m_bStop(bStop) {}

    /// As "/get". Throws CFailure, of which CHttpFailure tells the status.
    httpAnswer Video(const CParameterReader& objReader);

private:
    struct request {
        std::string strCamera;
        timeSpan stRange;
        found<recording> stFound;  ///< at least one
        bool bFollow = false;      ///< and what is recorded from now on
    };

    request ReadRequest(const CParameterReader& objReader) const;
    found<recording> Search(const std::string& strCamera, const timeSpan& stRange) const;
    void Join(const request& st, CClipTarget& objTarget) const;
    httpAnswer Download(const request& st);

    const CDisks& m_objDisks;
    const CSearch& m_objSearch;
    CDownloads m_objDownloads;
    const std::atomic<bool>& m_bStop;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_CLIPS_H
