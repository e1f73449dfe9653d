// The driver's entry points as the library declares them, made visible
// outside the shared object (the project builds with hidden visibility), and
// the control functions for tests.
#pragma once

#pragma GCC visibility push(default)
#include "local/keldnv/keldnv_driver_api.h"
#pragma GCC visibility pop
#include "keldnvsim/keldnvsim_control.h"
