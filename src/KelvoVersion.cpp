#include "KelvoVersion.h"

const char* kelvo_version_string() { return "Kelvo App 2 V2.4 : 2025-06-16"; }
