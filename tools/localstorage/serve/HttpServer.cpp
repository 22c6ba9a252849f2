#include "serve/HttpServer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <microhttpd.h>
#include <thread>

#include "base/Text.h"
#include "serve/Exchange.h"
#include "serve/FormReader.h"

namespace {

constexpr unsigned MOST_CONNECTIONS = 256;
/// Requests that are being answered, those included whose client has gone while a disk hangs.
constexpr std::size_t MOST_EXCHANGES = 2 * MOST_CONNECTIONS;
constexpr unsigned SERVER_THREADS = 2;
/// Of one connection: a request and its headers have to fit into it.
constexpr std::size_t CONNECTION_MEMORY = 32 << 10;
/// A connection on which nothing moves for so long is closed.
constexpr unsigned SILENCE_SECONDS = 30;
constexpr std::size_t BLOCK_SIZE = 64 << 10;

constexpr std::pair<const char*, const char*> SECURITY_HEADERS[] = {
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Content-Security-Policy",
     "default-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"}};

using SharedExchange = std::shared_ptr<CExchange>;

std::string ValueOf(MHD_Connection& objConnection, MHD_ValueKind eKind, const char* pName) {
    const char* pValue = MHD_lookup_connection_value(&objConnection, eKind, pName);
    return pValue ? pValue : "";
}

std::string HeaderOf(MHD_Connection& objConnection, const char* pName) {
    return ValueOf(objConnection, MHD_HEADER_KIND, pName);
}

MHD_Result AddParameter(void* pRequest, MHD_ValueKind, const char* pKey, size_t nKey,
                        const char* pValue, size_t nValue) {
    static_cast<httpRequest*>(pRequest)->mParameters.emplace(
        std::string(pKey, nKey), pValue ? std::string(pValue, nValue) : "");
    return MHD_YES;
}

ssize_t ReadBody(void* pExchange, std::uint64_t, char* pBuffer, size_t nMost) {
    return (*static_cast<SharedExchange*>(pExchange))->Read(pBuffer, nMost);
}

void FreeExchange(void* pExchange) {
    delete static_cast<SharedExchange*>(pExchange);
}

MHD_Response* MakeResponse(const httpAnswer& st, const SharedExchange& pExchange) {
    if (st.fnBody) {
        return MHD_create_response_from_callback(st.optLength.value_or(MHD_SIZE_UNKNOWN),
                                                 BLOCK_SIZE, ReadBody,
                                                 new SharedExchange(pExchange), FreeExchange);
    }
    return MHD_create_response_from_buffer(st.strBody.size(), const_cast<char*>(st.strBody.data()),
                                           MHD_RESPMEM_MUST_COPY);
}

MHD_Result Send(MHD_Connection& objConnection, const httpAnswer& st,
                const SharedExchange& pExchange) {
    MHD_Response* pResponse = MakeResponse(st, pExchange);
    if (!pResponse) return MHD_NO;
    for (const auto& [pName, pValue] : SECURITY_HEADERS) {
        if (!st.HasHeader(pName)) MHD_add_response_header(pResponse, pName, pValue);
    }
    MHD_add_response_header(pResponse, MHD_HTTP_HEADER_CONTENT_TYPE, st.strType.c_str());
    for (const auto& [strName, strValue] : st.vHeaders) {
        MHD_add_response_header(pResponse, strName.c_str(), strValue.c_str());
    }
    const MHD_Result eResult = MHD_queue_response(&objConnection, st.eStatus, pResponse);
    MHD_destroy_response(pResponse);
    return eResult;
}

/// A request as the library goes through it.
struct openRequest {
    SharedExchange pExchange;
    CFormReader objForm;
};

}  // namespace

/// What the library calls. No exception may pass through it.
struct CHttpServer::callbacks {
    static MHD_Result OnRequest(void* pServer, MHD_Connection* pConnection, const char* pUrl,
                                const char* pMethod, const char*, const char* pUpload,
                                size_t* pUploadSize, void** ppState) noexcept try {
        auto& objServer = *static_cast<CHttpServer*>(pServer);
        if (!*ppState) {
            *ppState = new openRequest{std::make_shared<CExchange>(*pConnection),
                                       CFormReader(*pConnection)};
            return MHD_YES;
        }
        auto& [pExchange, objForm] = *static_cast<openRequest*>(*ppState);
        if (*pUploadSize != 0) {
            objForm.Take(pUpload, std::exchange(*pUploadSize, 0));
            return MHD_YES;
        }
        if (pExchange->Start()) objServer.Take(pExchange, *pConnection, objForm, pUrl, pMethod);
        const auto optAnswer = pExchange->TakeAnswer();
        return optAnswer ? Send(*pConnection, *optAnswer, pExchange) : MHD_YES;
    } catch (const std::exception&) {
        return MHD_NO;
    }

    static void OnCompleted(void*, MHD_Connection*, void** ppState,
                            MHD_RequestTerminationCode) noexcept {
        const auto* pRequest = static_cast<openRequest*>(std::exchange(*ppState, nullptr));
        if (!pRequest) return;
        pRequest->pExchange->Abandon();
        delete pRequest;
    }
};

CHttpServer::CHttpServer(serverOptions stOptions, AnswerFunction fnAnswer, CountFunction fnCount)
    : m_stOptions(std::move(stOptions)),
      m_objAccess(m_stOptions),
      m_fnAnswer(std::move(fnAnswer)),
      m_fnCount(std::move(fnCount)) {
    // With epoll the library overlooks clients that go away while their connection is suspended.
    unsigned nFlags = MHD_USE_POLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME;
    if (m_stOptions.stListen.IsIpv6()) nFlags |= MHD_USE_IPv6;
    std::vector<MHD_OptionItem> vOptions = {
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&callbacks::OnCompleted),
         nullptr}};
    if (m_stOptions.IsTls()) {
        nFlags |= MHD_USE_TLS;
        const auto Text = [](const std::string& str) { return const_cast<char*>(str.c_str()); };
        vOptions.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, Text(m_stOptions.strKey)});
        vOptions.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, Text(m_stOptions.strCertificate)});
    }
    vOptions.push_back({MHD_OPTION_END, 0, nullptr});
    errno = 0;
    m_pDaemon.reset(MHD_start_daemon(nFlags, 0, nullptr, nullptr, &callbacks::OnRequest, this,  //
                                     MHD_OPTION_SOCK_ADDR, &m_stOptions.stListen.stSocket,      //
                                     MHD_OPTION_THREAD_POOL_SIZE, SERVER_THREADS,               //
                                     MHD_OPTION_CONNECTION_LIMIT, MOST_CONNECTIONS,             //
                                     MHD_OPTION_CONNECTION_MEMORY_LIMIT, CONNECTION_MEMORY,     //
                                     MHD_OPTION_CONNECTION_TIMEOUT, SILENCE_SECONDS,            //
                                     MHD_OPTION_ARRAY, vOptions.data(), MHD_OPTION_END));
    if (m_pDaemon) return;
    const std::string strReason = errno != 0            ? ErrorText(errno)
                                  : m_stOptions.IsTls() ? "certificate or key cannot be used"
                                                        : "the server cannot be started";
    throw CFailure("cannot listen on " + Url() + ": " + strReason);
}

CHttpServer::~CHttpServer() {
    while (!End(std::chrono::seconds(1))) {
    }
}

bool CHttpServer::End(std::chrono::milliseconds nPatience) {
    {
        const std::lock_guard lock(m_mutex);
        m_bStopping = true;
        for (const SharedExchange& pExchange : m_setExchanges) pExchange->Abandon();
    }
    m_pDaemon.reset();
    std::unique_lock lock(m_mutex);
    return m_cvIdle.wait_for(lock, nPatience, [this] { return m_setExchanges.empty(); });
}

void CHttpServer::stopDaemon::operator()(MHD_Daemon* p) const {
    MHD_stop_daemon(p);
}

std::string CHttpServer::Url() const {
    const MHD_DaemonInfo* pInfo =
        m_pDaemon ? MHD_get_daemon_info(m_pDaemon.get(), MHD_DAEMON_INFO_BIND_PORT) : nullptr;
    const std::uint16_t nPort = pInfo ? pInfo->port : m_stOptions.stListen.nPort;
    return Scheme() + m_stOptions.stListen.strHost + ":" + std::to_string(nPort) +
           m_stOptions.strBasePath;
}

std::string CHttpServer::Scheme() const {
    return m_stOptions.IsTls() ? "https://" : "http://";
}

/// Refuses the request, or has it answered by a thread of its own.
void CHttpServer::Take(const SharedExchange& pExchange, MHD_Connection& objConnection,
                       const CFormReader& objForm, const char* pUrl, const char* pMethod) {
    try {
        httpRequest stRequest = ReadRequest(objConnection, pUrl, pMethod);
        stRequest.strToken = objForm.Token();
        if (auto optAnswer = m_objAccess.Check(stRequest)) {
            m_fnCount(stRequest.strPath, optAnswer->eStatus, 0);
            return pExchange->Begin(*std::move(optAnswer));
        }
        const std::lock_guard lock(m_mutex);
        if (m_bStopping || m_setExchanges.size() >= MOST_EXCHANGES) {
            throw CFailure("too many requests are being answered");
        }
        const auto it = m_setExchanges.insert(pExchange).first;
        try {
            std::thread([this, pExchange, stRequest = std::move(stRequest)] {
                Give(*pExchange, stRequest);
                Forget(pExchange);
            }).detach();
        } catch (const std::system_error&) {
            m_setExchanges.erase(it);
            throw CFailure("too many threads are running");
        }
    } catch (const std::exception&) {
        pExchange->Begin(AnswerOfException());
    }
}

httpRequest CHttpServer::ReadRequest(MHD_Connection& objConnection, const char* pUrl,
                                     const char* pMethod) const {
    httpRequest st{.strMethod = pMethod, .strPath = pUrl};
    if (!st.strPath.starts_with(m_stOptions.strBasePath + "/")) {
        throw CHttpFailure(HTTP_NOT_FOUND, "there is nothing of this name");
    }
    st.strPath.erase(0, m_stOptions.strBasePath.size());
    MHD_get_connection_values_n(&objConnection, MHD_GET_ARGUMENT_KIND, AddParameter, &st);
    st.strHost = HeaderOf(objConnection, MHD_HTTP_HEADER_HOST);
    if (!st.strHost.empty()) st.strOrigin = Scheme() + st.strHost;
    st.strOrigin += m_stOptions.strBasePath;
    st.strAuthorization = HeaderOf(objConnection, MHD_HTTP_HEADER_AUTHORIZATION);
    const std::string strAccept = HeaderOf(objConnection, MHD_HTTP_HEADER_ACCEPT);
    st.bWantsPage = strAccept.find("text/html") != std::string::npos;
    st.strCookie = ValueOf(objConnection, MHD_COOKIE_KIND, TOKEN_COOKIE);
    return st;
}

void CHttpServer::Give(CExchange& objExchange, const httpRequest& stRequest) const {
    const auto tBegin = std::chrono::steady_clock::now();
    const httpStatus eStatus = GiveAnswer(objExchange, stRequest);
    const std::chrono::duration<double> nTime = std::chrono::steady_clock::now() - tBegin;
    m_fnCount(stRequest.strPath, eStatus, nTime.count());
}

httpStatus CHttpServer::GiveAnswer(CExchange& objExchange, const httpRequest& stRequest) const {
    bool bBegun = false;
    try {
        httpAnswer st = m_fnAnswer(stRequest);
        const httpStatus eStatus = st.eStatus;
        if (!st.fnBody) {
            objExchange.Begin(std::move(st));
            return eStatus;
        }
        st.fnBody([&](std::string_view strBytes) {
            if (!std::exchange(bBegun, true)) objExchange.Begin(st);
            objExchange.Write(strBytes);
        });
        if (!bBegun) objExchange.Begin(st);
        objExchange.End(true);
        return eStatus;
    } catch (const std::exception&) {
        httpAnswer st = AnswerOfException();
        const httpStatus eStatus = bBegun ? HTTP_OK : st.eStatus;
        bBegun ? objExchange.End(false) : objExchange.Begin(std::move(st));
        return eStatus;
    }
}

void CHttpServer::Forget(const SharedExchange& pExchange) {
    const std::lock_guard lock(m_mutex);
    m_setExchanges.erase(pExchange);
    m_cvIdle.notify_all();
}
