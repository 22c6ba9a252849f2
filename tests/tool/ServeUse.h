// The HTTP server at work, as clients meet it: over a socket, in bytes.

#ifndef LOCALSTORAGE_TESTS_TOOL_SERVEUSE_H
#define LOCALSTORAGE_TESTS_TOOL_SERVEUSE_H

#include <arpa/inet.h>
#include <csignal>
#include <sys/socket.h>
#include <thread>

#include "RunTool.h"

/// Whether a socket reaches a server there.
inline bool Connect(int nSocket, std::uint16_t nPort) {
    sockaddr_in st = {};
    st.sin_family = AF_INET;
    st.sin_port = htons(nPort);
    st.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(nSocket, reinterpret_cast<sockaddr*>(&st), sizeof(st)) == 0;
}

/// The socket of a client that has sent bytes.
inline int Send(std::uint16_t nPort, const std::string& strBytes) {
    const int nSocket = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_TRUE(Connect(nSocket, nPort));
    send(nSocket, strBytes.data(), strBytes.size(), MSG_NOSIGNAL);
    return nSocket;
}

/// The answer to bytes that a client sends: header and body, or at least so much of it, as far as
/// it comes without a longer silence.
inline std::string Ask(std::uint16_t nPort, const std::string& strBytes,
                       std::size_t nEnough = std::string::npos, suseconds_t nPatience = 0) {
    const int nSocket = Send(nPort, strBytes);
    const timeval stPatience{nPatience == 0 ? 20 : 0, nPatience};
    setsockopt(nSocket, SOL_SOCKET, SO_RCVTIMEO, &stPatience, sizeof(stPatience));
    std::string strAnswer;
    char acBuffer[65536];
    for (ssize_t n;
         strAnswer.size() < nEnough && (n = recv(nSocket, acBuffer, sizeof(acBuffer), 0)) > 0;) {
        strAnswer.append(acBuffer, static_cast<std::size_t>(n));
    }
    close(nSocket);
    return strAnswer;
}

inline std::string BodyOf(const std::string& strAnswer) {
    return strAnswer.substr(strAnswer.find("\r\n\r\n") + 4);
}

class ServeUse : public CToolTest {
protected:
    ~ServeUse() override {
        if (m_nPort != 0) End();
    }
    void End() {
        m_nPort = 0;
        kill(m_stTool.nPid, SIGTERM);
        EXPECT_EQ(EndOf(m_stTool).nCode, 0) << "it ends when it is told to";
    }
    /// Returns when it listens.
    void Serve(const std::string& strOptions = "--dir disk") {
        std::filesystem::remove("serve");  // of one before
        m_stTool = StartTool("serve --listen 127.0.0.1:0 " + strOptions, "serve");
        for (int n = 0; n < 500 && GetFile("serve").find('\n') == std::string::npos; ++n) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        m_strUrl = GetFile("serve");
        ASSERT_THAT(m_strUrl, testing::HasSubstr("://127.0.0.1:")) << GetFile("serve.err");
        m_nPort = static_cast<std::uint16_t>(std::stoi(m_strUrl.substr(m_strUrl.rfind(':') + 1)));
    }
    /// HTTP 1.0: the body is neither parted nor followed by another answer.
    std::string Get(const std::string& strTarget, const std::string& strHeaders = "") const {
        return Ask(m_nPort, "GET " + strTarget + " HTTP/1.0\r\n" + strHeaders + "\r\n");
    }
    json GetJson(const std::string& strTarget) const {
        const std::string strAnswer = Get(strTarget);
        EXPECT_THAT(strAnswer, testing::HasSubstr(" 200 OK\r\n")) << strTarget;
        return json::parse(BodyOf(strAnswer), nullptr, false);
    }
    void Expect(const std::string& strTarget, int nStatus,
                const std::string& strHeaders = "") const {
        const std::string strAnswer = Get(strTarget, strHeaders);
        EXPECT_THAT(strAnswer.substr(0, 13), testing::HasSubstr(std::to_string(nStatus)))
            << strTarget;
        EXPECT_THAT(strAnswer, testing::HasSubstr("X-Content-Type-Options: nosniff")) << strTarget;
    }

    runningTool m_stTool = {};
    std::string m_strUrl;
    std::uint16_t m_nPort = 0;
};

/// Three recordings in a row and one an hour later; a picture, and others by way of links.
inline void ImportFour() {
    for (const char* pClock : {"08:00:00", "08:00:06", "08:00:12", "09:00:00"}) {
        ExpectEnd(0, std::string("import --dir disk --camera 'my cam' --start '2024-03-05 ") +
                         pClock + "' streams/h264.mp4");
    }
    PutFile("disk/ImageFile/20240305/my cam/20240305_080003.jpg", "a picture");
    PutFile("elsewhere/20240305_080004.jpg", "secret");
    const auto strLink = "disk/ImageFile/20240305/my cam/20240305_080005.jpg";
    std::filesystem::create_symlink("../../../../elsewhere/20240305_080004.jpg", strLink);
    std::filesystem::create_directory_symlink("../../../elsewhere",
                                              "disk/ImageFile/20240305/linked");
}

#endif  // LOCALSTORAGE_TESTS_TOOL_SERVEUSE_H
