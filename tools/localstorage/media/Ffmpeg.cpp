#include "media/Ffmpeg.h"

void avIoFree::operator()(AVIOContext* p) const {
    av_freep(&p->buffer);
    avio_context_free(&p);
}

avIo MakeIo(int nBlockSize, void* pOwner, const ioCalls& st) {
    auto* pBuffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(nBlockSize)));
    avIo pIo(avio_alloc_context(pBuffer, nBlockSize, st.fnWrite ? 1 : 0, pOwner, st.fnRead,
                                st.fnWrite, st.fnSeek));
    if (!pIo) av_free(pBuffer);
    return pIo;
}

std::int64_t SeekIn(const COpenFile& objFile, std::uint64_t& nAt, std::int64_t nTo,
                    int nWhence) noexcept {
    try {
        const auto nSize = static_cast<std::int64_t>(objFile.Size());
        if (nWhence & AVSEEK_SIZE) return nSize;
        const int nFrom = nWhence & ~AVSEEK_FORCE;
        if (nFrom == SEEK_CUR) nTo += static_cast<std::int64_t>(nAt);
        if (nFrom == SEEK_END) nTo += nSize;
        if (nTo < 0) return AVERROR(EINVAL);
        nAt = static_cast<std::uint64_t>(nTo);
        return nTo;
    } catch (const std::exception&) {
        return AVERROR(EIO);
    }
}

int OpenFilter(const char* pName, const AVCodecParameters& st, AVRational stTimeBase,
               avPointer<AVBSFContext>& pFilter) {
    AVBSFContext* p = nullptr;
    const AVBitStreamFilter* pKind = av_bsf_get_by_name(pName);
    int nResult = pKind ? av_bsf_alloc(pKind, &p) : AVERROR_BSF_NOT_FOUND;
    pFilter.reset(p);
    if (nResult < 0) return nResult;
    p->time_base_in = stTimeBase;
    nResult = avcodec_parameters_copy(p->par_in, &st);
    return nResult < 0 ? nResult : av_bsf_init(p);
}

std::string AvErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE];
    return av_make_error_string(szText, sizeof(szText), nError);
}

void SilenceFfmpeg() {
    av_log_set_level(AV_LOG_QUIET);
}
