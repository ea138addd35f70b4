#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace slidebox::platform {

/// Maps bytes of zeroed memory, asking for large pages; null when it can't.
void* mapLargeBuffer(std::size_t bytes);
void unmapLargeBuffer(void* data, std::size_t bytes);

/// Room for many values of a trivial type, mapped from the system and
/// given back whole, in pages of 2 MiB where the system has them: the first
/// touch of fresh memory costs a fault a page, and with small pages that
/// can cost as much as the work done in it. Unset (null) when the room
/// can't be had. Owned by one holder; moved, never copied.
template <typename T> class LargeBuffer {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    LargeBuffer() = default;
    explicit LargeBuffer(std::size_t count) {
        if (count > 0 && count <= kMaxBytes / sizeof(T)) {
            bytes_ = count * sizeof(T);
            data_ = static_cast<T*>(mapLargeBuffer(bytes_));
            if (!data_)
                bytes_ = 0;
        }
    }
    ~LargeBuffer() {
        if (data_)
            unmapLargeBuffer(data_, bytes_);
    }
    LargeBuffer(LargeBuffer&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
    LargeBuffer& operator=(LargeBuffer&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }

    T* data() const { return data_; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    static constexpr std::size_t kMaxBytes = std::size_t(1) << 40;
    T* data_ = nullptr;
    std::size_t bytes_ = 0;
};

} // namespace slidebox::platform
