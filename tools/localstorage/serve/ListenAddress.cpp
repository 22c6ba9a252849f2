#include "serve/ListenAddress.h"

#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <netinet/in.h>

namespace {

/// Parts `HOST:PORT`; the host keeps its brackets.
struct hostAndPort {
    std::string strHost, strPort;
};
std::optional<hostAndPort> Part(const std::string& strText) {
    const std::size_t nColon = strText.rfind(':');
    if (nColon == std::string::npos) return std::nullopt;
    return hostAndPort{strText.substr(0, nColon), strText.substr(nColon + 1)};
}

std::optional<std::string> WithoutBrackets(const std::string& strHost) {
    if (strHost.size() < 2 || strHost.front() != '[' || strHost.back() != ']') return std::nullopt;
    return strHost.substr(1, strHost.size() - 2);
}

bool FillIpv4(const std::string& strHost, listenAddress& st) {
    sockaddr_in stSocket = {};
    if (inet_pton(AF_INET, strHost.c_str(), &stSocket.sin_addr) != 1) return false;
    stSocket.sin_family = AF_INET;
    stSocket.sin_port = htons(st.nPort);
    std::memcpy(&st.stSocket, &stSocket, sizeof(stSocket));
    st.bLoopback = ntohl(stSocket.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
    return true;
}

bool FillIpv6(const std::string& strHost, listenAddress& st) {
    sockaddr_in6 stSocket = {};
    const auto strAddress = WithoutBrackets(strHost);
    if (!strAddress || inet_pton(AF_INET6, strAddress->c_str(), &stSocket.sin6_addr) != 1) {
        return false;
    }
    stSocket.sin6_family = AF_INET6;
    stSocket.sin6_port = htons(st.nPort);
    std::memcpy(&st.stSocket, &stSocket, sizeof(stSocket));
    st.bLoopback = IN6_IS_ADDR_LOOPBACK(&stSocket.sin6_addr);
    return true;
}

}  // namespace

std::optional<listenAddress> ParseListenAddress(const std::string& strText) {
    const auto stParts = Part(strText);
    if (!stParts) return std::nullopt;
    listenAddress st;
    st.strHost = stParts->strHost;
    const char* const pEnd = stParts->strPort.data() + stParts->strPort.size();
    const auto [pRead, eError] = std::from_chars(stParts->strPort.data(), pEnd, st.nPort);
    if (eError != std::errc() || pRead != pEnd) return std::nullopt;
    if (!FillIpv4(st.strHost, st) && !FillIpv6(st.strHost, st)) return std::nullopt;
    return st;
}

bool IsNumericHost(std::string_view strHost) {
    const std::string strPort =
        strHost.ends_with(']') || strHost.rfind(':') == strHost.npos ? ":0" : "";
    const std::string strText = std::string(strHost) + strPort;
    return ParseListenAddress(strText) || strText.starts_with("localhost:");
}
