// Words for what can be wrong with an index file.

#ifndef LOCALSTORAGE_TOOL_RECORDS_INDEXFAULT_H
#define LOCALSTORAGE_TOOL_RECORDS_INDEXFAULT_H

#include <string>

#include "RecordTree/IndexFiles.h"

std::string IndexFaultText(const indexFileFault& stFault);

#endif  // LOCALSTORAGE_TOOL_RECORDS_INDEXFAULT_H
