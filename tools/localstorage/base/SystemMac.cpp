#include "base/System.h"

const char* const STATE_BELOW_HOME = "Library/Logs";
