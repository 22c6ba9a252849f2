#include "records/IndexFault.h"

#include "base/Text.h"

namespace {

const char* Words(IndexFileError eError) {
    switch (eError) {
        case IndexFileError::None:
            return "in order";
        case IndexFileError::NotExist:
            return "missing";
        case IndexFileError::Open:
            return "cannot be opened";
        case IndexFileError::Silent:
        case IndexFileError::Length:
            return "its length does not fit its count";
        case IndexFileError::Head:
        case IndexFileError::Body:
            return "cannot be read to its end";
        case IndexFileError::Memory:
            return "too large for the memory";
        case IndexFileError::Element:
            return "holds an entry that no index can hold";
        default:
            return "cannot be used";
    }
}

}  // namespace

std::string IndexFaultText(const indexFileFault& stFault) {
    std::string strText = Words(stFault.eError);
    if (stFault.eError == IndexFileError::NotExist || stFault.nSystemError == 0) return strText;
    return strText + ": " + ErrorText(stFault.nSystemError);
}
