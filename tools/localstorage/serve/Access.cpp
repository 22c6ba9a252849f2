#include "serve/Access.h"

namespace {

constexpr const char* LOGIN = "/login";

bool IsRead(const httpRequest& st) {
    return st.strMethod == "GET" || st.strMethod == "HEAD";
}

httpAnswer MethodAnswer(const char* pAllowed) {
    httpAnswer st = ErrorAnswer(HTTP_METHOD_NOT_ALLOWED, "this method is not answered here");
    st.vHeaders = {{"Allow", pAllowed}};
    return st;
}

httpAnswer UnknownAnswer() {
    httpAnswer st = ErrorAnswer(HTTP_UNAUTHORIZED,
                                "the header \"Authorization: Bearer TOKEN\" is missing or wrong");
    st.vHeaders = {{"WWW-Authenticate", "Bearer"}};
    return st;
}

httpAnswer LoginPage(httpStatus eStatus, const char* pNote) {
    const std::string strPage = std::string(R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>LocalStorage</title>
<style>
body { margin: 0; min-height: 100vh; display: grid; place-items: center; font: 1rem/1.5 system-ui, sans-serif }
form { display: grid; gap: .75rem; width: min(20rem, 90vw) }
h1 { margin: 0; font-size: 1.25rem; font-weight: 600 }
input, button { font: inherit; padding: .5rem .75rem }
p { margin: 0; min-height: 1.5em }
</style>
</head>
<body>
<form method="post">
<h1>LocalStorage</h1>
<label for="token">Token</label>
<input id="token" name="token" type="password" autocomplete="current-password" required autofocus>
<button>Log in</button>
<p role="alert">)") + pNote + "</p>\n</form>\n</body>\n</html>\n";
    return {.eStatus = eStatus,
            .strType = "text/html; charset=utf-8",
            .strBody = strPage,
            .vHeaders = {{"Content-Security-Policy",
                          "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; "
                          "base-uri 'none'; frame-ancestors 'none'"}}};
}

}  // namespace

std::optional<httpAnswer> CAccess::Check(const httpRequest& stRequest) const {
    // A page of some other site, whose name is made to lead here, shall not read what the browser's
    // user may.
    const bool bOpen = m_stOptions.bAnybody || m_stOptions.setOpenPaths.contains(stRequest.strPath);
    if (!bOpen && !m_stOptions.objToken.IsWanted() && !stRequest.strHost.empty() &&
        !IsNumericHost(stRequest.strHost)) {
        return ErrorAnswer(HTTP_FORBIDDEN,
                           "without a token only addresses in numbers and localhost are answered");
    }
    if (stRequest.strPath == LOGIN) return LogIn(stRequest);
    if (!IsRead(stRequest)) return MethodAnswer("GET, HEAD");
    if (bOpen || IsKnown(stRequest)) return std::nullopt;
    return stRequest.bWantsPage ? SendTo(LOGIN, HTTP_FOUND) : UnknownAnswer();
}

bool CAccess::IsKnown(const httpRequest& stRequest) const {
    const CToken& objToken = m_stOptions.objToken;
    return objToken.Admits(stRequest.strAuthorization) || objToken.IsCookie(stRequest.strCookie);
}

httpAnswer CAccess::LogIn(const httpRequest& stRequest) const {
    if (!m_stOptions.objToken.IsWanted()) return SendTo("/", HTTP_SEE_OTHER);
    if (IsRead(stRequest)) return LoginPage(HTTP_OK, "");
    if (stRequest.strMethod != "POST") return MethodAnswer("GET, HEAD, POST");
    if (!m_stOptions.objToken.Is(stRequest.strToken)) {
        return LoginPage(HTTP_UNAUTHORIZED, "That is not the token.");
    }
    httpAnswer st = SendTo("/", HTTP_SEE_OTHER);
    st.vHeaders.emplace_back(
        "Set-Cookie", TOKEN_COOKIE + ("=" + m_stOptions.objToken.Cookie()) +
                          "; HttpOnly; SameSite=Strict; Path=" + m_stOptions.strBasePath + "/" +
                          (m_stOptions.IsTls() ? "; Secure" : ""));
    return st;
}

httpAnswer CAccess::SendTo(const std::string& strPath, httpStatus eStatus) const {
    return {.eStatus = eStatus,
            .strType = "text/plain",
            .vHeaders = {{"Location", m_stOptions.strBasePath + strPath}}};
}
