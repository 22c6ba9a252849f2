// What is asked of the server and what it answers, apart from how either travels.

#ifndef LOCALSTORAGE_TOOL_SERVE_HTTP_H
#define LOCALSTORAGE_TOOL_SERVE_HTTP_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Failure.h"
#include "base/OpenFile.h"
#include "screen/Json.h"

enum httpStatus : unsigned {
    HTTP_OK = 200,
    HTTP_FOUND = 302,
    HTTP_SEE_OTHER = 303,
    HTTP_BAD_REQUEST = 400,
    HTTP_UNAUTHORIZED = 401,
    HTTP_FORBIDDEN = 403,
    HTTP_NOT_FOUND = 404,
    HTTP_METHOD_NOT_ALLOWED = 405,
    HTTP_INTERNAL_ERROR = 500,
    HTTP_UNAVAILABLE = 503
};

/// A request that cannot be answered as it stands.
class CHttpFailure : public CFailure {
public:
    CHttpFailure(httpStatus eStatus, const std::string& strText)
        : CFailure(strText), m_eStatus(eStatus) {}
    httpStatus Status() const { return m_eStatus; }

private:
    httpStatus m_eStatus;
};

/// Parameters of the query, decoded, as they came.
using Parameters = std::multimap<std::string, std::string>;

/// The cookie that stands for the token.
constexpr char TOKEN_COOKIE[] = "localstorage_token";

/// What it leaves out is empty.
struct httpRequest {
    std::string strMethod;
    std::string strPath;  ///< below the base path
    Parameters mParameters = {};
    std::string strHost = {}, strAuthorization = {};  ///< headers
    bool bWantsPage = false;                          ///< it is a browser's, to be looked at
    std::string strCookie = {};                       ///< TOKEN_COOKIE
    std::string strToken = {};                        ///< of a form
    std::string strOrigin = {};  ///< scheme, host and base path by which the client came
};

/// Takes the next bytes of an answer; waits while the client is behind. Throws CFailure when the
/// client has gone.
using BytesSink = std::function<void(std::string_view)>;

struct httpAnswer {
    httpStatus eStatus = HTTP_OK;
    std::string strType = {};
    std::string strBody = {};
    /// Makes the body while it is sent, in place of `strBody`. What it throws before the first byte
    /// becomes the answer.
    std::function<void(const BytesSink&)> fnBody = {};
    std::optional<std::uint64_t> optLength = {};  ///< of that body, where it is known
    /// Besides, or in place of, those that all answers have.
    std::vector<std::pair<std::string, std::string>> vHeaders = {};

    bool HasHeader(std::string_view strName) const;
};

/// The bytes that a file has now.
httpAnswer FileAnswer(std::shared_ptr<const COpenFile> pFile, const std::string& strType);
httpAnswer JsonAnswer(const CJson& js, httpStatus eStatus = HTTP_OK);
httpAnswer ErrorAnswer(httpStatus eStatus, const std::string& strText);

/// The answer that tells the exception being handled: what the request has wrong, or that disks
/// fail.
httpAnswer AnswerOfException();

#endif  // LOCALSTORAGE_TOOL_SERVE_HTTP_H
