#include "serve/Http.h"

#include <algorithm>
#include <system_error>

namespace {

constexpr std::size_t FILE_BLOCK = 128 << 10;

}  // namespace

bool httpAnswer::HasHeader(std::string_view strName) const {
    return std::any_of(vHeaders.begin(), vHeaders.end(),
                       [&](const auto& st) { return st.first == strName; });
}

httpAnswer FileAnswer(std::shared_ptr<const COpenFile> pFile, const std::string& strType) {
    const std::uint64_t nSize = pFile->Size();
    const auto Send = [=](const BytesSink& fnSink) {
        std::vector<char> vBlock(FILE_BLOCK);
        for (std::uint64_t nAt = 0; nAt < nSize;) {
            const std::size_t nRead = pFile->Read(nAt, vBlock);
            if (nRead == 0) throw CFailure("the file became shorter while it was sent");
            const std::uint64_t nWanted = std::min<std::uint64_t>(nRead, nSize - nAt);
            fnSink({vBlock.data(), static_cast<std::size_t>(nWanted)});
            nAt += nWanted;
        }
    };
    return {.eStatus = HTTP_OK, .strType = strType, .fnBody = Send, .optLength = nSize};
}

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
        return ErrorAnswer(error.Status(), error.what());
    } catch (const CFailure& error) {
        return ErrorAnswer(HTTP_UNAVAILABLE, error.what());
    } catch (const std::system_error& error) {
        return ErrorAnswer(HTTP_UNAVAILABLE, error.what());
    } catch (const std::exception& error) {
        return ErrorAnswer(HTTP_INTERNAL_ERROR, error.what());
    }
}
