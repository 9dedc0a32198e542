#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace jlinksim {

/// The host-side buffer of a channel: bytes in order, at most `capacity` of them.
class ByteQueue
{
public:
    explicit ByteQueue(std::size_t capacity) : capacity_(capacity) {}

    std::size_t size() const { return bytes_.size() - first_; }
    bool is_empty() const { return size() == 0; }
    std::size_t room() const { return capacity_ - size(); }

    /// As much as there is room for; returns how much that was.
    std::size_t push(std::span<const std::uint8_t> data)
    {
        const std::size_t count = std::min(data.size(), room());
        bytes_.insert(bytes_.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(count));
        return count;
    }

    /// The first `count` bytes, or all when there are fewer; valid until the queue changes.
    std::span<const std::uint8_t> front(std::size_t count) const
    {
        return std::span{bytes_}.subspan(first_, std::min(count, size()));
    }

    /// `count` is at most size().
    void drop(std::size_t count)
    {
        first_ += count;
        if (first_ >= capacity_ || is_empty()) {
            bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(first_));
            first_ = 0;
        }
    }

private:
    std::size_t capacity_;
    std::vector<std::uint8_t> bytes_;
    std::size_t first_ = 0;
};

} // namespace jlinksim
