#include "serve/Exchange.h"

#include <algorithm>
#include <microhttpd.h>
#include <utility>

namespace {

/// Of a body, so many bytes wait to be sent before its maker waits.
constexpr std::size_t MOST_WAITING = 256 << 10;

}  // namespace

void CExchange::Suspend() {
    m_bSuspended = true;
    MHD_suspend_connection(&m_objConnection);
}

void CExchange::Wake() {
    if (std::exchange(m_bSuspended, false)) MHD_resume_connection(&m_objConnection);
}

void CExchange::Begin(httpAnswer stAnswer) {
    const std::lock_guard lock(m_mutex);
    m_optAnswer = std::move(stAnswer);
    Wake();
}

void CExchange::Write(std::string_view strBytes) {
    std::unique_lock lock(m_mutex);
    m_cvRoom.wait(lock, [&] { return m_bAbandoned || m_strWaiting.size() < MOST_WAITING; });
    if (m_bAbandoned) throw CFailure("the client has gone");
    m_strWaiting += strBytes;
    Wake();
}

void CExchange::End(bool bComplete) {
    const std::lock_guard lock(m_mutex);
    m_bEnded = true;
    m_bComplete = bComplete;
    Wake();
}

bool CExchange::Start() {
    return !std::exchange(m_bStarted, true);
}

std::optional<httpAnswer> CExchange::TakeAnswer() {
    const std::lock_guard lock(m_mutex);
    if (m_bAbandoned) throw CFailure("nobody waits for the answer");
    if (!m_optAnswer) Suspend();
    return std::exchange(m_optAnswer, std::nullopt);
}

ssize_t CExchange::Read(char* pBuffer, std::size_t nMost) {
    if (m_nSent == m_strSending.size()) {
        const std::lock_guard lock(m_mutex);
        m_strSending.clear();
        m_nSent = 0;
        std::swap(m_strSending, m_strWaiting);
        m_cvRoom.notify_one();
        if (m_bAbandoned) return MHD_CONTENT_READER_END_WITH_ERROR;
        if (m_strSending.empty() && m_bEnded) {
            return m_bComplete ? MHD_CONTENT_READER_END_OF_STREAM
                               : MHD_CONTENT_READER_END_WITH_ERROR;
        }
        if (m_strSending.empty()) {
            Suspend();
            return 0;
        }
    }
    const std::size_t nBytes = m_strSending.copy(pBuffer, nMost, m_nSent);
    m_nSent += nBytes;
    return static_cast<ssize_t>(nBytes);
}

void CExchange::Abandon() {
    const std::lock_guard lock(m_mutex);
    m_bAbandoned = true;
    m_cvRoom.notify_one();
    Wake();
}
