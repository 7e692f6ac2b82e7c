#pragma once

#include <cstddef>

// The real size in bytes of `block`, which is to be freed by array delete. The allocator is asked, so the result holds
// even if a host has replaced the block at this address. 0 for null, and where the allocator behind array delete cannot
// be asked: a program may replace array delete or free, or link the C++ runtime statically. Any thread.
size_t ProvenBlockSize(void const* block);
