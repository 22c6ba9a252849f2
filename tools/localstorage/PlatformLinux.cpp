#include "Platform.h"

const char* const STATE_BELOW_HOME = ".local/state";
