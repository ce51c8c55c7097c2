// Owner of one buffer taken from the platform allocator, zero-filled, freed on scope exit.
#pragma once

#include <cstdint>
#include <utility>

#include "osa.h"

class OsaBuffer {
public:
    OsaBuffer() = default;
    explicit OsaBuffer(uint32_t size) : p_(osa_malloc(size)), size_(p_ != nullptr ? size : 0) {
        if (p_ != nullptr) {
            osa_memset_s(p_, size_, 0, size_);
        }
    }
    OsaBuffer(const OsaBuffer&) = delete;
    OsaBuffer& operator=(const OsaBuffer&) = delete;
    OsaBuffer(OsaBuffer&& o) noexcept : p_(std::exchange(o.p_, nullptr)), size_(o.size_) {}
    OsaBuffer& operator=(OsaBuffer&& o) noexcept {
        std::swap(p_, o.p_);
        std::swap(size_, o.size_);
        return *this;
    }
    ~OsaBuffer() {
        if (p_ != nullptr) {
            osa_free(p_);
        }
    }

    explicit operator bool() const { return p_ != nullptr; }
    uint32_t size() const { return size_; }
    void* get() const { return p_; }
    template <typename T>
    T* as() const {
        return static_cast<T*>(p_);
    }

private:
    void* p_ = nullptr;
    uint32_t size_ = 0;
};
