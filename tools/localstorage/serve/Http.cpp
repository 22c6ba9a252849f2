#include "serve/Http.h"

#include <system_error>

httpAnswer JsonAnswer(const CJson& js, httpStatus eStatus) {
    return {.eStatus = eStatus, .strType = "application/json", .strBody = js.Text() + "\n"};
}

httpAnswer ErrorAnswer(httpStatus eStatus, const std::string& strText) {
    return JsonAnswer(JsonObject{{"status", "error"}, {"error", strText}}, eStatus);
}

httpAnswer AnswerOfException() {
    try {
        throw;
    } catch (const CHttpFailure& error) {
        httpAnswer st = ErrorAnswer(error.Status(), error.what());
        if (st.eStatus == HTTP_UNAUTHORIZED) st.vHeaders = {{"WWW-Authenticate", "Bearer"}};
        if (st.eStatus == HTTP_METHOD_NOT_ALLOWED) st.vHeaders = {{"Allow", "GET, HEAD"}};
        return st;
    } catch (const CFailure& error) {
        return ErrorAnswer(HTTP_UNAVAILABLE, error.what());
    } catch (const std::system_error& error) {
        return ErrorAnswer(HTTP_UNAVAILABLE, error.what());
    } catch (const std::exception& error) {
        return ErrorAnswer(HTTP_INTERNAL_ERROR, error.what());
    }
}
