#include "media/Ffmpeg.h"

std::string AvErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE];
    return av_make_error_string(szText, sizeof(szText), nError);
}

void SilenceFfmpeg() {
    av_log_set_level(AV_LOG_QUIET);
}
