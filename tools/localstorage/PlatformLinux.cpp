#include "Platform.h"

const char* const kStateBelowHome = ".local/state";
