#pragma once

#include <cstddef>

// The bytes that the block at `block`, which array delete is to free, really has: asked of the allocator, so that it
// does not matter how the block came to its address. 0 for null, and where the allocator of arrays cannot be asked: a
// program may bring its own array delete or its own free, or hold its whole C++ runtime in itself. Any thread.
size_t ProvenBlockSize(void const* block);
