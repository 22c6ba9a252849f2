#include "media/Checksum.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include <array>
#include <cerrno>
#include <fstream>
#include <memory>
#include <vector>

#include "base/Failure.h"
#include "base/Text.h"

namespace {

constexpr std::size_t PIECE = 1 << 20;
constexpr int BITS = 256;

struct shaFree {
    void operator()(AVSHA* p) const { av_free(p); }
};

std::string Hexadecimal(const std::array<std::uint8_t, BITS / 8>& aBytes) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string strText;
    for (const std::uint8_t n : aBytes) {
        strText += DIGITS[n >> 4];
        strText += DIGITS[n & 15];
    }
    return strText;
}

}  // namespace

std::string Sha256Of(const std::string& strPath, const std::atomic<bool>& bStop,
                     const std::function<void(std::size_t)>& fnBytes) {
    const std::unique_ptr<AVSHA, shaFree> pSha(av_sha_alloc());
    if (!pSha || av_sha_init(pSha.get(), BITS) < 0) throw CFailure("no memory for a checksum");
    std::ifstream file(strPath, std::ios::binary);
    if (!file) throw CFailure("cannot open " + strPath + ": " + ErrorText(errno));
    std::vector<char> vPiece(PIECE);
    while (file) {
        if (bStop) throw CFailure("stopped");
        file.read(vPiece.data(), static_cast<std::streamsize>(vPiece.size()));
        const auto nRead = static_cast<std::size_t>(file.gcount());
        av_sha_update(pSha.get(), reinterpret_cast<const std::uint8_t*>(vPiece.data()), nRead);
        fnBytes(nRead);
    }
    if (file.bad()) throw CFailure("cannot read " + strPath + ": " + ErrorText(errno));
    std::array<std::uint8_t, BITS / 8> aBytes;
    av_sha_final(pSha.get(), aBytes.data());
    return Hexadecimal(aBytes);
}
