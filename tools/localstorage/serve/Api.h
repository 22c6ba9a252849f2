// What the server tells of record directories. Nothing is changed, and a host may be recording
// meanwhile. What can be read is told; an answer from which a folder or disk is missing says so in
// a header, and where only those could hold what was asked for, it is that the service is
// unavailable.

#ifndef LOCALSTORAGE_TOOL_SERVE_API_H
#define LOCALSTORAGE_TOOL_SERVE_API_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "serve/Clips.h"
#include "serve/Disks.h"
#include "serve/Http.h"
#include "serve/Overview.h"
#include "serve/RequestCounts.h"
#include "serve/Search.h"

class CParameterReader;

class CApi {
public:
    /// One path: its parameters and what answers it.
    struct route {
        std::string strPath;
        std::vector<std::string> vParameters;
        bool bOpen;  ///< to those who know no token
        std::function<httpAnswer(const httpRequest&, const CParameterReader&)> fnAnswer;
    };

    /// Downloads are made in `strTempDir`. `bStop` ends what takes long. Throws CFailure for a
    /// record directory that is none.
    CApi(const std::vector<std::string>& vDirs, const std::string& strTempDir,
         const std::atomic<bool>& bStop);
    CApi(const CApi&) = delete;
    CApi& operator=(const CApi&) = delete;

    const std::vector<route>& Routes() const { return m_vRoutes; }
    /// Any thread. Throws CFailure, of which CHttpFailure tells the status.
    httpAnswer Answer(const httpRequest& stRequest) const;
    /// The record directories that cannot be read now. Any thread.
    std::vector<std::string> Unreadable() const;
    /// A request was answered, whoever did it. Any thread.
    void Count(const std::string& strPath, httpStatus eStatus, double fSeconds);

private:
    const route* FindRoute(const std::string& strPath) const;
    httpAnswer Health() const;
    httpAnswer Metrics() const;
    httpAnswer Cameras() const;
    httpAnswer Status() const;
    httpAnswer Days() const;
    httpAnswer Timeline(const CParameterReader& objReader) const;
    httpAnswer Recordings(const CParameterReader& objReader) const;
    httpAnswer List(const httpRequest& stRequest, const CParameterReader& objReader) const;
    httpAnswer Pictures(const httpRequest& stRequest, const CParameterReader& objReader) const;
    httpAnswer Picture(const CParameterReader& objReader) const;

    const CDisks m_objDisks;
    const CSearch m_objSearch{m_objDisks};
    const std::unique_ptr<COverview> m_pOverview;
    const std::unique_ptr<CClips> m_pClips;
    const std::vector<route> m_vRoutes;
    CRequestCounts m_objCounts;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_API_H
