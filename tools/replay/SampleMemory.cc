#include "SampleMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace orvcase {
namespace {

constexpr std::size_t margin = underSanitizer ? 0 : 64;
constexpr std::size_t alignment = 16;

/// Pages between two unreadable ones.
struct Walled {
    unsigned char* begin;
    std::size_t size;
};

std::size_t pageSize() {
    static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

/// Mappings are used again: small cases by the thousand would otherwise spend their time in the kernel.
std::vector<Walled>& spare() {
    static std::vector<Walled> list;
    return list;
}

Walled takeWalled(std::size_t size) {
    for (Walled& each : spare()) {
        if (each.size < size) continue;
        const Walled found = each;
        each = spare().back();
        spare().pop_back();
        return found;
    }
    const std::size_t page = pageSize();
    const std::size_t room = std::max((size + page - 1) / page, std::size_t{4}) * page;
    void* mapped = mmap(nullptr, room + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    auto* begin = static_cast<unsigned char*>(mapped) + page;
    if (mprotect(begin, room, PROT_READ | PROT_WRITE) != 0) {
        munmap(mapped, room + 2 * page);
        throw std::bad_alloc();
    }
    return {begin, room};
}

void giveBack(Walled walled) {
    constexpr std::size_t worthKeeping = std::size_t{1} << 22;
    if (walled.size <= worthKeeping) return spare().push_back(walled);
    munmap(walled.begin - pageSize(), walled.size + 2 * pageSize());
}

} // namespace

SampleMemory::SampleMemory(Storage storage, std::size_t size) : storage_(storage), size_(size) {
    if (storage == Storage::heap) {
        void* block = nullptr;
        if (posix_memalign(&block, alignment, size + 2 * margin) != 0) throw std::bad_alloc();
        block_ = static_cast<unsigned char*>(block);
        room_ = size + 2 * margin;
        data_ = block_ + margin;
        std::memset(block_, filling, room_);
        return;
    }
    const Walled walled = takeWalled(size);
    block_ = walled.begin;
    room_ = walled.size;
    data_ = storage == Storage::startsAtWall ? block_ : block_ + room_ - size;
    const std::size_t around = std::min(room_ - size, margin);
    unsigned char* from = storage == Storage::startsAtWall ? data_ : data_ - around;
    std::memset(from, filling, size + around);
}

SampleMemory::SampleMemory(SampleMemory&& other) noexcept
    : storage_(other.storage_),
      size_(other.size_),
      room_(other.room_),
      block_(std::exchange(other.block_, nullptr)),
      data_(other.data_) {}

SampleMemory::~SampleMemory() {
    if (block_ == nullptr) return;
    if (storage_ == Storage::heap)
        std::free(block_);
    else
        giveBack({block_, room_});
}

bool SampleMemory::marginsIntact() const {
    const auto filled = [](const unsigned char* from, const unsigned char* to) {
        return std::all_of(from, to, [](unsigned char byte) { return byte == filling; });
    };
    const unsigned char* low = std::max(block_, data_ - std::min(margin, static_cast<std::size_t>(data_ - block_)));
    const unsigned char* end = data_ + size_;
    const std::size_t after = static_cast<std::size_t>(block_ + room_ - end);
    return filled(low, data_) && filled(end, end + std::min(margin, after));
}

} // namespace orvcase
