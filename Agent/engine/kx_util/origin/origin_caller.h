// The installed answer to who may write down where a file came from.
#pragma once

#include <kx_util/origin_caller.h>

bool KxOriginCaller_MayWrite();
