// One request while it is answered. A thread of its own makes the answer: disks are slow and may
// hang, and only this request shall wait for them. A thread of the server, which serves many
// connections, sends it; while there is nothing to send the connection is suspended.

#ifndef LOCALSTORAGE_TOOL_SERVE_EXCHANGE_H
#define LOCALSTORAGE_TOOL_SERVE_EXCHANGE_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "serve/Http.h"

struct MHD_Connection;

class CExchange {
public:
    explicit CExchange(MHD_Connection& objConnection) : m_objConnection(objConnection) {}

    // For the thread that answers.

    /// All of the answer but a body that is made while it is sent.
    void Begin(httpAnswer stAnswer);
    /// Goes on with the body; see BytesSink.
    void Write(std::string_view strBytes);
    /// The body is complete, or it breaks off.
    void End(bool bComplete);

    // For the server's threads.

    /// True for the first caller: the answer is to be made.
    bool Start();
    /// The answer; nothing: the connection is suspended until there is one. Throws CFailure when
    /// it is abandoned.
    std::optional<httpAnswer> TakeAnswer();
    /// The next bytes of the body, as the server's library asks for them.
    ssize_t Read(char* pBuffer, std::size_t nMost);
    /// Nobody waits for the answer any more. Any thread.
    void Abandon();

private:
    void Suspend();
    void Wake();

    MHD_Connection& m_objConnection;
    bool m_bStarted = false;  // of the server's thread, as is what is being sent
    std::string m_strSending;
    std::size_t m_nSent = 0;

    std::mutex m_mutex;
    std::condition_variable m_cvRoom;
    std::optional<httpAnswer> m_optAnswer;
    std::string m_strWaiting;
    bool m_bSuspended = false, m_bAbandoned = false;
    bool m_bEnded = false, m_bComplete = false;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_EXCHANGE_H
