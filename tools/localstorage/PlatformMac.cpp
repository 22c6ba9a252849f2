#include "Platform.h"

const char* const kStateBelowHome = "Library/Logs";
