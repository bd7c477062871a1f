#include "memory/frame/orvi_new.h"

#include <new>

[[gnu::noinline]] void* orvi_new(std::size_t bytes) noexcept { return ::operator new[](bytes, std::nothrow); }

[[gnu::noinline]] void orvi_delete(void* block) noexcept { ::operator delete[](block); }
