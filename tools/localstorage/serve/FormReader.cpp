#include "serve/FormReader.h"

#include <microhttpd.h>
#include <string_view>

namespace {

constexpr std::size_t BUFFER_SIZE = 1024;
constexpr std::size_t LONGEST_TOKEN = 4096;

MHD_Result AddToField(void* pToken, MHD_ValueKind, const char* pKey, const char*, const char*,
                      const char*, const char* pData, std::uint64_t, size_t nSize) {
    auto& strToken = *static_cast<std::string*>(pToken);
    if (std::string_view(pKey) == "token" && strToken.size() + nSize <= LONGEST_TOKEN) {
        strToken.append(pData, nSize);
    }
    return MHD_YES;
}

}  // namespace

CFormReader::CFormReader(MHD_Connection& objConnection)
    : m_pReader(MHD_create_post_processor(&objConnection, BUFFER_SIZE, AddToField, &m_strToken)) {}

void CFormReader::Take(const char* pBytes, std::size_t nBytes) {
    if (m_pReader) MHD_post_process(m_pReader.get(), pBytes, nBytes);
}

void CFormReader::destroy::operator()(MHD_PostProcessor* p) const {
    MHD_destroy_post_processor(p);
}
