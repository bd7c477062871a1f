// The one way in which the device gets memory.
#pragma once

#include <cstddef>

/// `bytes` of uninitialised memory from operator new[], or null. Every allocation of the device goes through this
/// function, so that each can be made to fail under test. Alignment is that of any fundamental type.
void* orvi_new(std::size_t bytes) noexcept;

/// Gives back what orvi_new answered; null is harmless.
void orvi_delete(void* block) noexcept;

namespace orvi {

/// An array of `count` samples from orvi_new, unset, or null.
template <class T>
T* newArray(std::size_t count) noexcept {
    return static_cast<T*>(orvi_new(count * sizeof(T))); // NOLINT(bugprone-sizeof-expression): T may be a pointer
}

/// Owns one block of orvi_new.
template <class T>
class Array {
public:
    Array() noexcept = default;
    explicit Array(std::size_t count) noexcept : data_(newArray<T>(count)) {}
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    Array(Array&& other) noexcept : data_(other.release()) {}
    Array& operator=(Array&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~Array() { orvi_delete(static_cast<void*>(data_)); }

    explicit operator bool() const noexcept { return data_ != nullptr; }
    T* get() const noexcept { return data_; }
    T& operator[](std::size_t i) const noexcept { return data_[i]; }
    void reset(T* data = nullptr) noexcept {
        orvi_delete(static_cast<void*>(data_));
        data_ = data;
    }
    T* release() noexcept {
        T* data = data_;
        data_ = nullptr;
        return data;
    }

private:
    T* data_ = nullptr;
};

} // namespace orvi
