// The headers of lighttpd 1.4.61 and later, which are C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {
#define restrict __restrict__
#include "first.h"

#include "array.h"
#include "base.h"
#include "buffer.h"
#include "chunk.h"
#include "http_header.h"
#include "log.h"
#include "plugin.h"
#undef restrict
#undef static_assert
}
