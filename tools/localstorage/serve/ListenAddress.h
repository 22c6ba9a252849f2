// Where a server listens: a numeric address and a port.

#ifndef LOCALSTORAGE_TOOL_SERVE_LISTENADDRESS_H
#define LOCALSTORAGE_TOOL_SERVE_LISTENADDRESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>

struct listenAddress {
    sockaddr_storage stSocket = {};
    std::string strHost;  ///< as it stands in a URL: an IPv6 address in brackets
    std::uint16_t nPort = 0;
    bool bLoopback = false;  ///< nobody reaches it from another machine

    bool IsIpv6() const { return stSocket.ss_family == AF_INET6; }
};

/// Reads `127.0.0.1:9996`, `[::1]:9996`; port 0 lets the system choose. No names: what one stands
/// for may change. Nothing when it is none.
std::optional<listenAddress> ParseListenAddress(const std::string& strText);

/// Whether the host of a request's URL is a number or this machine's own name for itself, rather
/// than a name that somebody lets lead here.
bool IsNumericHost(std::string_view strHost);

#endif  // LOCALSTORAGE_TOOL_SERVE_LISTENADDRESS_H
