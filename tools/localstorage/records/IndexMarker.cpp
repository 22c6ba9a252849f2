#include "records/IndexMarker.h"

#include <cerrno>

#include "RecordTree/IndexMarker.h"
#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/Text.h"

void MarkIndex(const std::string& strFolderPath) {
    if (MakeIndexMarker(strFolderPath)) return;
    throw CFailure("cannot make " + strFolderPath + "/" + INDEX_DIRTY_MARKER + ": " +
                   ErrorText(errno) + "; nothing was deleted");
}
