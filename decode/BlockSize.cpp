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

namespace {

struct Search
{
    uintptr_t address;
    char const* library; // path; empty as long as nothing is found, and for the program itself
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

// The path of the library that a function's code lies in. Empty where it is the program, into which anything may be
// linked together.
template <typename Function>
char const* LibraryOf(Function* function)
{
    Search search{reinterpret_cast<uintptr_t>(function), ""};
    dl_iterate_phdr(LookInto, &search);
    return search.library;
}

// Whether the library's deletes do nothing but call free.
bool IsCppRuntime(char const* library)
{
    char const* const slash = std::strrchr(library, '/');
    char const* const name = slash ? slash + 1 : library;
    return std::strncmp(name, "libstdc++.so", 12) == 0 || std::strncmp(name, "libc++", 6) == 0;
}

// Whether array delete ends in the allocator that malloc_usable_size asks: by way of the C++ runtime and free, or
// because it is the allocator's own, as with sanitizers. What array delete frees must come from there, then.
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

} // namespace

size_t ProvenBlockSize(void const* block)
{
    static bool const isAsked = IsAllocatorOfArraysAsked();
    return isAsked ? malloc_usable_size(const_cast<void*>(block)) : 0;
}

#else

size_t ProvenBlockSize(void const*)
{
    return 0;
}

#endif
