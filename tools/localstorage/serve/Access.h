// Who may ask. Where a token is wanted: whoever sends it in the header "Authorization", or in the
// cookie that the login page sets. Elsewhere whoever names the server by its address.

#ifndef LOCALSTORAGE_TOOL_SERVE_ACCESS_H
#define LOCALSTORAGE_TOOL_SERVE_ACCESS_H

#include <optional>

#include "serve/Http.h"
#include "serve/ServerOptions.h"

class CAccess {
public:
    /// `stOptions` has to outlive it.
    explicit CAccess(const serverOptions& stOptions) : m_stOptions(stOptions) {}

    /// What is answered in place of what was asked for: refusals and the login page. Nothing: the
    /// request may pass. Any thread.
    std::optional<httpAnswer> Check(const httpRequest& stRequest) const;

private:
    bool IsKnown(const httpRequest& stRequest) const;
    httpAnswer LogIn(const httpRequest& stRequest) const;
    httpAnswer SendTo(const std::string& strPath, httpStatus eStatus) const;

    const serverOptions& m_stOptions;
};

#endif  // LOCALSTORAGE_TOOL_SERVE_ACCESS_H
