#include "serve/RequestCounts.h"

#include "base/MetricText.h"

void CRequestCounts::Add(const std::string& strPath, httpStatus eStatus, double fSeconds) {
    const std::lock_guard lock(m_mutex);
    path& st = m_mPaths[strPath];
    ++st.mAnswers[eStatus];
    st.fSeconds += fSeconds;
}

std::string CRequestCounts::Text() const {
    CMetric objRequests("http_requests_total", "counter", "Requests that were answered.");
    CMetric objSeconds("http_request_seconds", "summary",
                       "Time from a request to the end of its answer.");
    const std::lock_guard lock(m_mutex);
    for (const auto& [strPath, st] : m_mPaths) {
        const std::string strLabel = MetricLabel("path", strPath);
        std::uint64_t nAnswers = 0;
        for (const auto& [eStatus, nCount] : st.mAnswers) {
            objRequests.Add(strLabel + "," + MetricLabel("status", std::to_string(eStatus)),
                            std::to_string(nCount));
            nAnswers += nCount;
        }
        objSeconds.Add(strLabel, std::to_string(st.fSeconds), "_sum");
        objSeconds.Add(strLabel, std::to_string(nAnswers), "_count");
    }
    return objRequests.Text() + objSeconds.Text();
}
