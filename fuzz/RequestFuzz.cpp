// Gives what reads a request whatever a client may send; aborts when a reading breaks its promise.
//
// An input is lines: a time, a number of seconds, a day, a camera, a host, and the token of a form.

#undef NDEBUG
#include <cassert>
#include <cstdint>
#include <sstream>

#include "RecordTree/Names.h"
#include "Support/TempDir.h"
#include "serve/Access.h"
#include "serve/Parameters.h"

namespace {

/// What is read, unless it is refused as a client's mistake.
template <typename Function>
auto Read(const Function& fnRead) -> std::optional<decltype(fnRead())> {
    try {
        return fnRead();
    } catch (const CHttpFailure& failure) {
        assert(failure.Status() == HTTP_BAD_REQUEST);
        return std::nullopt;
    }
}

void ExpectParameters(const Parameters& m) {
    const CParameterReader objReader(m);
    if (const auto st = Read([&] { return objReader.Time("time"); })) {
        assert(**st >= EVER.tStart && **st <= EVER.tEnd);
        const auto optAgain = ParseRfc3339(FormatIso(**st));
        assert(optAgain && **st - *optAgain < Seconds(1) && *optAgain - **st < Seconds(1));
    }
    if (const auto st = Read([&] { return objReader.Length("seconds"); })) {
        assert(**st > UtcTime::duration(0) && **st <= std::chrono::days(366));
    }
    if (const auto st = Read([&] { return objReader.Day("day"); })) assert(st->tStart < st->tEnd);
    if (const auto st = Read([&] { return objReader.Camera("camera"); })) {
        assert(IsCameraID(**st) && (*st)->find('/') == std::string::npos && **st != "..");
    }
    Read([&] { return objReader.Word("camera", {"fmp4", "mp4"}); });
    if (const auto st = Read([&] { return objReader.Range("time", "none"); })) {
        assert(st->tStart < st->tEnd);
    }
}

const CToken& TheToken() {
    static const CToken s_objToken = [] {
        const CTempDir tmp;
        PutFile(tmp / "token", "0123456789abcdef");
        return CToken(tmp / "token");
    }();
    return s_objToken;
}

/// Whoever does not know the token gets nothing but a refusal or the login page.
void ExpectRefusal(const httpRequest& stRequest) {
    serverOptions stOptions;
    const bool bNumeric = stRequest.strHost.empty() || IsNumericHost(stRequest.strHost);
    assert(CAccess(stOptions).Check(stRequest).has_value() == !bNumeric);
    stOptions.objToken = TheToken();
    const bool bKnown = stRequest.strCookie == "0123456789abcdef" ||
                        stRequest.strAuthorization == "Bearer 0123456789abcdef";
    assert(CAccess(stOptions).Check(stRequest).has_value() == !bKnown);
    httpRequest stLogin = stRequest;
    stLogin.strMethod = "POST";
    stLogin.strPath = "/login";
    const bool bIn = CAccess(stOptions).Check(stLogin)->HasHeader("Set-Cookie");
    assert(bIn == (stLogin.strToken == "0123456789abcdef"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    std::istringstream lines(std::string(reinterpret_cast<const char*>(pData), nSize));
    std::string strTime, strSeconds, strDay, strCamera, strHost, strToken;
    for (std::string* p : {&strTime, &strSeconds, &strDay, &strCamera, &strHost, &strToken}) {
        std::getline(lines, *p);
    }
    ExpectParameters(
        {{"time", strTime}, {"seconds", strSeconds}, {"day", strDay}, {"camera", strCamera}});
    ExpectRefusal({.strMethod = "GET",
                   .strPath = "/list",
                   .strHost = strHost,
                   .strAuthorization = strToken,
                   .strCookie = strToken,
                   .strToken = strToken});
    ParseListenAddress(strHost);
    return 0;
}
