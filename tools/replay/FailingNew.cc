// Every form of the global operator new. None calls another: each asks who called itself.
#include "FailingNew.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

[[maybe_unused]] const bool installed = (orvcase::failingNew.installed = true);

void* take(std::size_t bytes, std::size_t alignment) noexcept {
    if (bytes == 0) bytes = 1;
    if (alignment <= alignof(std::max_align_t)) return std::malloc(bytes);
    const std::size_t whole = (bytes + alignment - 1) / alignment * alignment;
    return whole < bytes ? nullptr : std::aligned_alloc(alignment, whole);
}

void* takeOrThrow(std::size_t bytes, std::size_t alignment) {
    void* block = take(bytes, alignment);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

} // namespace

// The device tests the answer of every form, so a form that otherwise throws answers null to it too.
#define ORVCASE_ANSWER(take, bytes, alignment)                                                                         \
    (orvcase::failingNew.hits(__builtin_return_address(0)) ? nullptr : take(bytes, alignment))

void* operator new(std::size_t n) { return ORVCASE_ANSWER(takeOrThrow, n, 1); }
void* operator new[](std::size_t n) { return ORVCASE_ANSWER(takeOrThrow, n, 1); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return ORVCASE_ANSWER(take, n, 1); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return ORVCASE_ANSWER(take, n, 1); }
void* operator new(std::size_t n, std::align_val_t a) { return ORVCASE_ANSWER(takeOrThrow, n, std::size_t(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return ORVCASE_ANSWER(takeOrThrow, n, std::size_t(a)); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return ORVCASE_ANSWER(take, n, std::size_t(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return ORVCASE_ANSWER(take, n, std::size_t(a));
}

#undef ORVCASE_ANSWER

void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
