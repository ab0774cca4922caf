#include "Support/AllocationCount.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NIMBE_SANITIZED_HEAP
#include <sanitizer/allocator_interface.h>
#endif
#endif

namespace {

// Zero-initialised and trivial: there before any constructor, also inside malloc.
thread_local bool isCounting = false;
thread_local std::size_t allocations = 0;

void note() {
    if (isCounting) ++allocations;
}

} // namespace

namespace nimbe {

AllocationCount::AllocationCount() {
#ifdef NIMBE_SANITIZED_HEAP
    [[maybe_unused]] static const int hook = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t) { note(); }, [](const volatile void*) {});
#endif
    allocations = 0;
    isCounting = true;
}

AllocationCount::~AllocationCount() {
    isCounting = false;
}

std::size_t AllocationCount::value() const {
    return allocations;
}

} // namespace nimbe

#ifndef NIMBE_SANITIZED_HEAP
// In place of the C library's, for the whole program; operator new comes here too.
extern "C" {
// glibc's own names for its heap.
void* __libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);     // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(
    std::size_t alignment, std::size_t size); // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size) {
    note();
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    note();
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    note();
    return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    note();
    return __libc_memalign(alignment, size);
}
}
#endif
