#pragma once
// The stand-in's controls moved to the shared test kit; kept here for the
// tests that still include it by this name.
#include "tests/stand_in_control.h"
