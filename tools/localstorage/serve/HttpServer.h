// The HTTP server: how much may be asked, and on which threads it is answered. Who may ask, and
// what the answers say, is not its business.

#ifndef LOCALSTORAGE_TOOL_SERVE_HTTPSERVER_H
#define LOCALSTORAGE_TOOL_SERVE_HTTPSERVER_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

#include "serve/Access.h"

struct MHD_Connection;
struct MHD_Daemon;
class CExchange;
class CFormReader;

class CHttpServer {
public:
    /// Answers a request. Called by many threads at once; what it throws becomes the answer.
    using AnswerFunction = std::function<httpAnswer(const httpRequest&)>;

    /// Is told of each answer: path, status, seconds. Called by many threads at once.
    using CountFunction = std::function<void(const std::string&, httpStatus, double)>;

    /// Serves from now on. Throws CFailure.
    CHttpServer(serverOptions stOptions, AnswerFunction fnAnswer, CountFunction fnCount);
    /// Ends as End does, however long that takes.
    ~CHttpServer();
    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;

    /// Breaks off what is being answered, and takes no more. False: so much later a disk that hangs
    /// still holds threads that answer.
    bool End(std::chrono::milliseconds nPatience);

    /// By which clients reach it.
    std::string Url() const;

private:
    struct callbacks;
    struct stopDaemon {
        void operator()(MHD_Daemon* p) const;
    };

    void Take(const std::shared_ptr<CExchange>& pExchange, MHD_Connection& objConnection,
              const CFormReader& objForm, const char* pUrl, const char* pMethod);
    httpRequest ReadRequest(MHD_Connection& objConnection, const char* pUrl,
                            const char* pMethod) const;
    void Give(CExchange& objExchange, const httpRequest& stRequest) const;
    httpStatus GiveAnswer(CExchange& objExchange, const httpRequest& stRequest) const;
    void Forget(const std::shared_ptr<CExchange>& pExchange);
    std::string Scheme() const;

    const serverOptions m_stOptions;
    const CAccess m_objAccess;
    const AnswerFunction m_fnAnswer;
    const CountFunction m_fnCount;

    std::mutex m_mutex;
    std::condition_variable m_cvIdle;
    std::set<std::shared_ptr<CExchange>> m_setExchanges;  ///< being answered
    bool m_bStopping = false;
    std::unique_ptr<MHD_Daemon, stopDaemon> m_pDaemon;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_HTTPSERVER_H
