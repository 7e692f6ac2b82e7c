#include "decode/BlockSize.h"

#include <cstdlib>
#include <new>

#if defined(__GLIBC__)

#include <link.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>

// A sanitizer's runtime, null without one.
extern "C" __attribute__((weak)) int __sanitizer_get_ownership(void const volatile* block);
extern "C" __attribute__((weak)) size_t __sanitizer_get_allocated_size(void const volatile* block);

namespace {

struct Search
{
    uintptr_t address;
    char const* library; // path; empty until found, and for the program itself
};

int LookInto(dl_phdr_info* object, size_t, void* data)
{
    auto& search = *static_cast<Search*>(data);
    bool const isHere = std::any_of(object->dlpi_phdr, object->dlpi_phdr + object->dlpi_phnum, [&](auto const& part) {
        return part.p_type == PT_LOAD && search.address - object->dlpi_addr - part.p_vaddr < part.p_memsz;
    });
    if (isHere)
        search.library = object->dlpi_name;
    return isHere ? 1 : 0;
}

// The path of the library that contains a function's code. Empty for the program itself, which may have any allocator
// linked in.
template <typename Function>
char const* LibraryOf(Function* function)
{
    Search search{reinterpret_cast<uintptr_t>(function), ""};
    dl_iterate_phdr(LookInto, &search);
    return search.library;
}

// Whether the library is a C++ runtime, whose delete operators only call free.
bool IsCppRuntime(char const* library)
{
    char const* const slash = std::strrchr(library, '/');
    char const* const name = slash ? slash + 1 : library;
    return std::strncmp(name, "libstdc++.so", 12) == 0 || std::strncmp(name, "libc++", 6) == 0;
}

// Whether array delete frees with the allocator that malloc_usable_size belongs to: through the C++ runtime and free,
// or because array delete belongs to that allocator itself, as with one that is preloaded. Every block that array
// delete accepts then comes from this allocator.
bool IsAllocatorOfArraysAsked()
{
    char const* const allocator = LibraryOf(&malloc_usable_size);
    auto const isAllocator = [allocator](char const* library) { return std::strcmp(library, allocator) == 0; };
    if (*allocator == '\0' || !isAllocator(LibraryOf(&std::free)))
        return false;
    using Delete = void (*)(void*);
    Delete const deletes[] = {static_cast<Delete>(&::operator delete[]), static_cast<Delete>(&::operator delete)};
    return std::all_of(std::begin(deletes), std::end(deletes), [&isAllocator](auto* one) {
        char const* const library = LibraryOf(one);
        return isAllocator(library) || IsCppRuntime(library);
    });
}

// The block's exact length if a sanitizer's allocator gave it out, else 0.
size_t SanitizedBlockSize(void const* block)
{
    return __sanitizer_get_ownership(block) ? __sanitizer_get_allocated_size(block) : 0;
}

// Whether arrays come from a sanitizer's allocator: only that gives the very length asked for. Clang links it into the
// program, where its code cannot be told from the program's own.
bool AreArraysSanitized()
{
    constexpr size_t probeSize = 12345;
    if (!__sanitizer_get_ownership || !__sanitizer_get_allocated_size)
        return false;
    std::unique_ptr<char[]> const probe(new (std::nothrow) char[probeSize]);
    return SanitizedBlockSize(probe.get()) == probeSize;
}

} // namespace

size_t ProvenBlockSize(void const* block)
{
    static bool const isSanitized = AreArraysSanitized();
    if (isSanitized)
        return SanitizedBlockSize(block);
    static bool const isAsked = IsAllocatorOfArraysAsked();
    return isAsked ? malloc_usable_size(const_cast<void*>(block)) : 0;
}

#else

size_t ProvenBlockSize(void const*)
{
    return 0;
}

#endif
