#include "serve/Downloads.h"

#include <algorithm>
#include <filesystem>

#include "base/Failure.h"

namespace {

constexpr std::uint64_t LARGEST = std::uint64_t(8) << 30;

}  // namespace

std::shared_ptr<COpenFile> CDownloads::Begin() {
    if (!m_objFree.try_acquire()) {
        throw CFailure("too many downloads are being made; try again later, or take format=fmp4");
    }
    const std::shared_ptr<void> pTurn(this, [](CDownloads* p) { p->m_objFree.release(); });
    std::error_code stError;
    const auto stSpace = std::filesystem::space(m_strDir, stError);
    const std::uint64_t nShare = stError ? 0 : stSpace.available / (MOST + 1);
    return {new COpenFile(m_strDir, std::min(nShare, LARGEST)),
            [pTurn](const COpenFile* p) { delete p; }};
}
