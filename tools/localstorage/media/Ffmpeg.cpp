#include "media/Ffmpeg.h"

void avOutputFree::operator()(AVIOContext* p) const {
    av_freep(&p->buffer);
    avio_context_free(&p);
}

avOutput MakeOutput(int nBlockSize, void* pTaker,
                    int (*fnTake)(void* pTaker, std::uint8_t* pData, int nSize)) {
    auto* pBuffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(nBlockSize)));
    avOutput pOutput(avio_alloc_context(pBuffer, nBlockSize, 1, pTaker, nullptr, fnTake, nullptr));
    if (!pOutput) av_free(pBuffer);
    return pOutput;
}

std::string AvErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE];
    return av_make_error_string(szText, sizeof(szText), nError);
}

void SilenceFfmpeg() {
    av_log_set_level(AV_LOG_QUIET);
}
