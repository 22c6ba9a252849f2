// How a server is set up.

#ifndef LOCALSTORAGE_TOOL_SERVE_SERVEROPTIONS_H
#define LOCALSTORAGE_TOOL_SERVE_SERVEROPTIONS_H

#include <set>
#include <string>

#include "serve/ListenAddress.h"
#include "serve/Token.h"

struct serverOptions {
    listenAddress stListen;
    CToken objToken;
    bool bAnybody = false;               ///< no token is wanted, whoever can reach the server
    std::string strCertificate, strKey;  ///< for TLS, in PEM; empty: none
    std::string strBasePath;             ///< in front of all paths: "" or "/x"
    std::set<std::string> setOpenPaths;  ///< which nobody needs a token for

    bool IsTls() const { return !strKey.empty(); }
};

#endif  // LOCALSTORAGE_TOOL_SERVE_SERVEROPTIONS_H
